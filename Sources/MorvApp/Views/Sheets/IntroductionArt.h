// The pictures of the introduction, drawn in the theme's colours for exactly the pixels they fill. Main thread.
#pragma once

#include <QString>
#include <QWidget>
#include <cstdint>
#include <utility>
#include <vector>

namespace morv {

enum class IntroductionScene : std::uint8_t {
    plan,    ///< files on their way, and where each will stand
    review,  ///< what is confirmed
    receipt, ///< what was done, and its way back
    keys,    ///< keys and what they do
};

class IntroductionArt : public QWidget {
    Q_OBJECT

public:
    /// A key's text and what it does.
    using Keys = std::vector<std::pair<QString, QString>>;

    explicit IntroductionArt(Keys keys, QWidget* parent);

    void show(IntroductionScene scene);
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    IntroductionScene scene_ = IntroductionScene::plan;
    Keys keys_;
};

} // namespace morv
