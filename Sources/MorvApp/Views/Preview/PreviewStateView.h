// What stands in the middle when there is nothing to look at: a picture of the type with what is known, or a
// sign with a title and a sentence. Main thread.
#pragma once

#include "MorvApp/Views/Preview/PreviewFacts.h"

#include <QPixmap>

class QLabel;

namespace morv {

class PreviewStateView : public QWidget {
    Q_OBJECT

public:
    explicit PreviewStateView(QWidget* parent);

    struct State {
        QPixmap picture;
        QString title;
        QString sentence;
        std::vector<ShownFact> facts;
    };
    void setState(const State& state);
    QString title() const;
    QString sentence() const;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void elide();

    QLabel* picture_;
    QLabel* titleLabel_;
    QLabel* sentenceLabel_;
    PreviewFacts* facts_;
    QString title_;
};

} // namespace morv
