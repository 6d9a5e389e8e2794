#include "MorvApp/Views/Sheets/IntroductionSheet.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Views/Sheets/IntroductionArt.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QKeySequence>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <array>

namespace morv {

namespace {

constexpr QSize card{600, 500};

struct Panel {
    IntroductionScene scene;
    const char* title;
    const char* text;
};

/// In the last one %1 is the folder of the records, %2 that of the settings.
constexpr std::array<Panel, 4> panels{
    {{IntroductionScene::plan, "First a plan",
      "Before Morv copies, moves or renames anything it works out what will happen: every source, every "
      "name, "
      "every place. Working it out changes nothing."},
     {IntroductionScene::review, "You decide what happens",
      "Where there is something to decide, you see the plan and confirm it. Nothing that is there is ever "
      "replaced, a copy gets its name only when it was read back and compared, and what has to go goes to "
      "the "
      "Trash: nothing is deleted."},
     {IntroductionScene::receipt, "A receipt for everything",
      "Activity & Recovery keeps what was done with every item, also when the computer stops in the middle. "
      "Undo takes the last operation back; what you have changed since is left alone and named."},
     {IntroductionScene::keys, "Yours, on this computer",
      "Receipts and workspaces stand in %1, settings in %2. They leave this computer only if you carry them "
      "away. Every key can be changed in Settings."}}};

constexpr std::array<std::pair<FileCommand, const char*>, 5> taught{
    {{FileCommand::editPath, "type where to go"},
     {FileCommand::undo, "take the last operation back"},
     {FileCommand::toggleSplit, "two folders side by side"},
     {FileCommand::quickActions, "find any action"},
     {FileCommand::settings, "settings"}}};

IntroductionArt::Keys keysOf(const KeyBindings& bindings) {
    IntroductionArt::Keys result;
    for (const auto& [command, text] : taught)
        if (const auto& keys = bindings.keys(command); !keys.empty())
            result.emplace_back(QKeySequence(ours(keys.front()), QKeySequence::PortableText)
                                    .toString(QKeySequence::NativeText),
                                QLatin1String(text));
    return result;
}

} // namespace

IntroductionSheet::IntroductionSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Welcome to Morv"), card, Height::full, window), app_(app),
      wasSeen_(app.services().defaults.introductionCompleted()) {
    const auto keys = keysOf(app.services().keys);
    art_ = new IntroductionArt(keys, this);
    QStringList described;
    for (const auto& [key, text] : keys)
        described << key + QStringLiteral(": ") + text;
    art_->setAccessibleDescription(described.join(QStringLiteral("; ")));
    body()->addWidget(art_);
    body()->addSpacing(Space::small);
    heading_ = addText(QString(), "title");
    heading_->setAlignment(Qt::AlignHCenter);
    text_ = addText(QString());
    text_->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    body()->setStretchFactor(text_, 1);
    place_ = addText(QString(), "caption");
    place_->setAlignment(Qt::AlignHCenter);
    skip_ = addAction(QStringLiteral("Skip"));
    skip_->setAccessibleName(QStringLiteral("Skip the introduction"));
    back_ = addCancel(QStringLiteral("Back"));
    next_ = addDefault(QStringLiteral("Continue"));
    next_->setObjectName(QStringLiteral("introductionNext"));
    connect(skip_, &QPushButton::clicked, this, &IntroductionSheet::end);
    connect(next_, &QPushButton::clicked, this, &IntroductionSheet::forward);
    connect(this, &Sheet::cancelled, this, &IntroductionSheet::back);
    showPanel();
    present(next_);
}

void IntroductionSheet::forward() {
    if (panel_ + 1 == panels.size())
        return end();
    ++panel_;
    showPanel();
}

void IntroductionSheet::back() {
    if (panel_ == 0) {
        if (wasSeen_)
            end();
        return;
    }
    --panel_;
    showPanel();
}

void IntroductionSheet::showPanel() {
    const auto& panel = panels[panel_];
    art_->show(panel.scene);
    art_->setAccessibleName(QString::fromUtf8(panel.title));
    heading_->setText(QString::fromUtf8(panel.title));
    auto text = QString::fromUtf8(panel.text);
    if (panel.scene == IntroductionScene::keys)
        text = text.arg(shownPath(app_.services().directory),
                        shownPath(configurationHome().child("Morv").asFolder()));
    text_->setText(text);
    place_->setText(QStringLiteral("%1 of %2").arg(panel_ + 1).arg(panels.size()));
    back_->setVisible(panel_ > 0);
    skip_->setVisible(panel_ + 1 < panels.size());
    next_->setText(panel_ + 1 < panels.size() ? QStringLiteral("Continue") : QStringLiteral("Start"));
    if (!back_->isVisible() || !skip_->isVisible())
        next_->setFocus();
}

void IntroductionSheet::end() {
    // Closing the sheet takes this object away.
    auto& app = app_;
    app.services().defaults.setIntroductionCompleted(true);
    app.closeSheet();
}

} // namespace morv
