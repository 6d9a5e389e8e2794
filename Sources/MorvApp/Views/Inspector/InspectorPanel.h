// What is selected, in full: picture, name, tags, facts, permissions, checksum. It shows its model while it is
// seen, and asks for nothing while it is not. Main thread.
#pragma once

#include "MorvApp/Model/InspectorModel.h"
#include "MorvApp/Model/TagChange.h"
#include "MorvApp/Views/Inspector/FactList.h"
#include "MorvApp/Views/Theme/FolderArt.h"
#include "MorvApp/Views/Theme/IconCache.h"

#include <QFrame>
#include <QTimer>
#include <optional>

class QLabel;
class QPushButton;
class QScrollArea;
class QToolButton;
class QVBoxLayout;

namespace morv {

class AppModel;
class TagEditor;

class InspectorPanel : public QFrame {
    Q_OBJECT

public:
    explicit InspectorPanel(AppModel& app, QWidget* parent = nullptr);

    InspectorModel& model() { return model_; }
    /// Whether the keyboard is in here.
    bool hasKeyboard() const;

Q_SIGNALS:
    void closed();
    /// The keyboard is wanted no more here.
    void ended();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    struct Section {
        QWidget* whole;
        FactList* facts;
    };

    QWidget* buildBar();
    void buildHead();
    void buildTags();
    void buildChecksum();
    Section addSection(const QString& title);
    void setFacts(const Section& section, const std::vector<Fact>& facts);

    void followSubject();
    void showSubject();
    /// Whether what is shown is what the model tells of.
    bool isShown() const;
    void changeTags(const TagChange& change);
    void updateInformation();
    void updatePicture();
    void updateTags();
    void updateInsight();
    void updateMedia();
    void updateChecksum();
    void showSeveral(const SelectionSummary& summary);
    void showProblem(const QString& sentence);
    void clearFacts();

    AppModel& app_;
    InspectorModel model_;
    IconCache icons_;
    FolderArt folders_;
    /// What has come to be shown before the answer for the next item is there.
    std::optional<FileURL> shown_;
    QTimer patience_;
    QScrollArea* scroll_;
    QWidget* content_;
    QVBoxLayout* column_;
    QLabel* picture_ = nullptr;
    ValueText* name_ = nullptr;
    ValueText* kind_ = nullptr;
    ValueText* note_ = nullptr;
    QWidget* tagSection_ = nullptr;
    TagEditor* tags_ = nullptr;
    ValueText* tagNote_ = nullptr;
    Section general_{};
    Section permissions_{};
    Section media_{};
    Section more_{};
    QWidget* checksumSection_ = nullptr;
    QPushButton* checksumButton_ = nullptr;
    QToolButton* checksumCopy_ = nullptr;
    ValueText* checksumText_ = nullptr;
};

} // namespace morv
