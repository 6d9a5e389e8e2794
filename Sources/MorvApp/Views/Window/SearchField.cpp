#include "MorvApp/Views/Window/SearchField.h"

#include "MorvApp/Model/AppModel.h"
#include "MorvApp/Model/SearchTokens.h"
#include "MorvApp/Views/Tags/TagChip.h"
#include "MorvApp/Views/Theme/PlaceSymbols.h"
#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"
#include "MorvCore/Foundation/Unicode.h"
#include "MorvCore/Platform/UserFolders.h"

#include <QAbstractItemView>
#include <QActionGroup>
#include <QCompleter>
#include <QKeyEvent>
#include <QMenu>
#include <QStringListModel>
#include <QStyle>
#include <QToolButton>
#include <algorithm>

namespace morv {

namespace {

constexpr int lensSide = 22;
constexpr int widestChip = 128;
constexpr int narrowestChip = 56;
constexpr int narrowestText = 88;
constexpr int clearButton = 28;
constexpr int narrowest = 150;
constexpr int narrowestWithChips = 300;
constexpr std::size_t mostTagsInMenu = 20;
constexpr std::string_view tagName = "tag:";

/// As the tag is spelled where it is in use.
std::string spelled(const std::string& tag, const std::vector<std::string>& known) {
    const auto found = std::ranges::find_if(
        known, [key = pathKey(tag)](const std::string& each) { return pathKey(each) == key; });
    return found == known.end() ? tag : *found;
}

} // namespace

SearchField::SearchField(AppModel& app, QWidget* parent)
    : QLineEdit(parent), app_(app), lens_(new QToolButton(this)), completer_(new QCompleter(this)),
      words_(new QStringListModel(this)) {
    setObjectName(QStringLiteral("searchField"));
    setClearButtonEnabled(true);
    lens_->setObjectName(QStringLiteral("searchLens"));
    lens_->setFixedSize(lensSide, lensSide);
    lens_->setCursor(Qt::ArrowCursor);
    lens_->setFocusPolicy(Qt::NoFocus);
    lens_->setToolTip(QStringLiteral("Where to search, and for which tag and kind (Alt+Down)"));
    lens_->setAccessibleName(QStringLiteral("Search options"));
    connect(lens_, &QToolButton::clicked, this, &SearchField::showMenu);
    const auto tint = [this] {
        lens_->setIcon(placeIcon("search", Theme::shared().colours().secondaryText));
    };
    connect(&Theme::shared(), &Theme::changed, this, tint);
    tint();
    completer_->setModel(words_);
    completer_->setCaseSensitivity(Qt::CaseInsensitive);
    completer_->setFilterMode(Qt::MatchContains);
    completer_->setWidget(this);
    completer_->popup()->setObjectName(QStringLiteral("completions"));
    connect(completer_, qOverload<const QString&>(&QCompleter::activated), this, &SearchField::complete);
    connect(this, &QLineEdit::textEdited, this,
            [this](const QString& text) { search(text, Meaning::typing); });
    // The clear button edits without saying so.
    connect(this, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (text.isEmpty() && !app_.activePane().query().empty())
            search(text, Meaning::typing);
    });
    connect(&app_, &AppModel::activePaneChanged, this, &SearchField::followPane);
    connect(&app_, &AppModel::activePaneUpdated, this, &SearchField::followPane);
    updateChips();
    followPane();
}

void SearchField::search(const QString& text, Meaning meaning) {
    // Of the column that is worked in, like everything else.
    app_.goToColumn();
    const auto tokens =
        searchTokens(typedBytes(text), meaning == Meaning::meant ? TokenEnding::meant : TokenEnding::typing);
    auto& pane = app_.activePane();
    open_ = tokens.open;
    if (tokens.tag || tokens.kind) {
        const QSignalBlocker quiet(this);
        setText(editableName(tokens.text));
        if (tokens.kind)
            pane.setKindFilter(tokens.kind);
    }
    send(tokens.text, tokens.tag ? spelled(*tokens.tag, knownTags(app_)) : pane.tagFilter());
    offer(open_);
}

void SearchField::send(const std::string& query, const std::optional<std::string>& tag) {
    auto& pane = app_.activePane();
    const bool isOther = query != pane.query() || tag != pane.tagFilter();
    sentTo_ = &pane;
    sent_ = query;
    pane.setQuery(query);
    pane.setTagFilter(tag);
    if (isOther && query.empty())
        pane.refresh();
    else if (isOther)
        pane.runSearch();
}

void SearchField::chooseTag(std::optional<std::string> tag) {
    send(app_.activePane().query(), tag);
}

void SearchField::chooseKind(std::optional<FileKind> kind) {
    app_.activePane().setKindFilter(kind);
}

void SearchField::searchHome() {
    auto& pane = app_.activePane();
    const auto query = pane.query();
    const auto tag = pane.tagFilter();
    const auto kind = pane.kindFilter();
    // Going to another folder forgets what was searched in the last one.
    app_.showFolder(homeFolder());
    pane.setKindFilter(kind);
    {
        const QSignalBlocker quiet(this);
        setText(editableName(query));
    }
    send(query, tag);
}

void SearchField::clearAll() {
    const QSignalBlocker quiet(this);
    clear();
    open_.clear();
    app_.activePane().setKindFilter(std::nullopt);
    send({}, std::nullopt);
}

bool SearchField::takeLastToken() {
    const auto& pane = app_.activePane();
    if (pane.kindFilter())
        chooseKind(std::nullopt);
    else if (pane.tagFilter())
        chooseTag(std::nullopt);
    else
        return false;
    return true;
}

void SearchField::followPane() {
    const auto& pane = app_.activePane();
    const auto name = pane.location().isRoot() ? QStringLiteral("this computer")
                                               : shownBriefly(pane.location().lastComponent());
    setAccessibleName(QStringLiteral("Search %1 and everything below it").arg(name));
    if (pane.tagFilter() != shownTag_ || pane.kindFilter() != shownKind_)
        updateChips();
    // What stands in the field may be more than the query: a token that is still being typed.
    if (sentTo_ == &pane && pane.query() == sent_)
        return;
    sentTo_.clear();
    open_.clear();
    const auto text = editableName(pane.query());
    if (text == this->text())
        return;
    const QSignalBlocker quiet(this);
    setText(text);
}

void SearchField::updateChips() {
    const auto& pane = app_.activePane();
    shownTag_ = pane.tagFilter();
    shownKind_ = pane.kindFilter();
    for (auto* chip : chips_) {
        // It may be in the middle of its click.
        chip->hide();
        chip->deleteLater();
    }
    chips_.clear();
    const auto add = [this](const std::string& name, const QString& what, auto removed) {
        auto* chip = new TagChip(name, 0, TagChip::Presence::all, this);
        chip->setFocusPolicy(Qt::NoFocus);
        chip->setCursor(Qt::ArrowCursor);
        chip->setAccessibleName(what);
        chip->setToolTip(what);
        connect(chip, &TagChip::removed, this, removed);
        chips_.push_back(chip);
        chip->show();
    };
    if (shownTag_)
        add(*shownTag_, QStringLiteral("Only with the tag “%1”").arg(shown(*shownTag_)),
            [this] { chooseTag(std::nullopt); });
    if (shownKind_)
        add(std::string(title(*shownKind_)), QStringLiteral("Only “%1”").arg(ours(title(*shownKind_))),
            [this] { chooseKind(std::nullopt); });
    setMinimumWidth(chips_.empty() ? narrowest : narrowestWithChips);
    setPlaceholderText(chips_.empty() ? QStringLiteral("Search this folder") : QString());
    placeChips();
}

void SearchField::placeChips() {
    int x = Space::tiny + 2;
    const auto put = [&](QWidget* widget, const QSize& size) {
        const QRect place(x, (height() - size.height()) / 2, size.width(), size.height());
        widget->setGeometry(QStyle::visualRect(layoutDirection(), rect(), place));
        x += size.width() + Space::tiny;
    };
    put(lens_, lens_->size());
    // The chips leave room for a word.
    const int room = width() - x - narrowestText - clearButton;
    for (auto* chip : chips_) {
        chip->setSmall(std::clamp(room / static_cast<int>(chips_.size()), narrowestChip, widestChip));
        put(chip, chip->sizeHint());
    }
    // The frame's own padding stands before the text, too.
    const int margin = x - Space::small;
    setTextMargins(layoutDirection() == Qt::LeftToRight ? QMargins(margin, 0, 0, 0)
                                                        : QMargins(0, 0, margin, 0));
}

void SearchField::offer(const std::string& open) {
    QStringList words;
    if (!open.empty()) {
        const bool isTag = pathKey(std::string_view(open).substr(0, tagName.size())) == tagName;
        if (isTag)
            for (const auto& tag : knownTags(app_))
                words << editableName(tag);
        else
            for (const auto kind : allFileKinds)
                words << ours(title(kind));
        words_->setStringList(words);
        completer_->setCompletionPrefix(editableName(tokenValue(open)));
    }
    if (words.isEmpty() || completer_->completionCount() == 0)
        return completer_->popup()->hide();
    completer_->popup()->setCurrentIndex(completer_->completionModel()->index(0, 0));
    completer_->complete();
}

void SearchField::complete(const QString& word) {
    auto text = this->text();
    const auto at = text.lastIndexOf(editableName(open_));
    if (open_.empty() || at < 0)
        return;
    const auto chosen = open_.substr(0, open_.find(':') + 1) + quotedValue(typedBytes(word));
    text.replace(at, editableName(open_).size(), editableName(chosen) + QLatin1Char(' '));
    setText(text);
    search(text, Meaning::typing);
}

void SearchField::showMenu() {
    const auto& pane = app_.activePane();
    auto* menu = new QMenu(this);
    menu->setObjectName(QStringLiteral("searchMenu"));
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const auto addChoice = [](QMenu* to, QActionGroup* group, const QString& text, bool isOn, auto chosen) {
        auto* action = group->addAction(to->addAction(text));
        action->setCheckable(true);
        action->setChecked(isOn);
        connect(action, &QAction::triggered, to, chosen);
    };
    const bool isHome = pane.location() == homeFolder();
    auto* places = new QActionGroup(menu);
    addChoice(menu, places, QStringLiteral("Search This Folder"), !isHome, [this] { setFocus(); });
    addChoice(menu, places, QStringLiteral("Search the Home Folder"), isHome, [this] { searchHome(); });
    menu->addSeparator();
    auto* kindMenu = menu->addMenu(QStringLiteral("Kind"));
    auto* kinds = new QActionGroup(kindMenu);
    addChoice(kindMenu, kinds, QStringLiteral("Any Kind"), !pane.kindFilter(),
              [this] { chooseKind(std::nullopt); });
    kindMenu->addSeparator();
    for (const auto kind : allFileKinds)
        addChoice(kindMenu, kinds, ours(title(kind)), pane.kindFilter() == kind,
                  [this, kind] { chooseKind(kind); });
    auto* tagMenu = menu->addMenu(QStringLiteral("Tag"));
    auto* tags = new QActionGroup(tagMenu);
    addChoice(tagMenu, tags, QStringLiteral("Any Tag or None"), !pane.tagFilter(),
              [this] { chooseTag(std::nullopt); });
    tagMenu->addSeparator();
    auto known = knownTags(app_);
    known.resize(std::min(known.size(), mostTagsInMenu));
    for (const auto& tag : known)
        addChoice(tagMenu, tags, buttonText(shown(tag)), pane.tagFilter() == tag,
                  [this, tag] { chooseTag(tag); });
    menu->popup(mapToGlobal(QPoint(0, height() + 2)));
}

bool SearchField::event(QEvent* event) {
    if (event->type() == QEvent::ShortcutOverride && editsText(*static_cast<const QKeyEvent*>(event))) {
        event->accept();
        return true;
    }
    return QLineEdit::event(event);
}

void SearchField::resizeEvent(QResizeEvent* event) {
    QLineEdit::resizeEvent(event);
    placeChips();
}

void SearchField::keyPressEvent(QKeyEvent* event) {
    if (completer_->popup()->isVisible()) {
        switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
        case Qt::Key_Tab:
        case Qt::Key_Escape:
            // The list takes it.
            event->ignore();
            return;
        default:
            break;
        }
    }
    switch (event->key()) {
    case Qt::Key_Escape:
        if (text().isEmpty() && chips_.empty())
            return Q_EMIT ended();
        return clearAll();
    case Qt::Key_Backspace:
        if (cursorPosition() > 0 || hasSelectedText() || !takeLastToken())
            QLineEdit::keyPressEvent(event);
        return;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        search(text(), Meaning::meant);
        return Q_EMIT ended();
    case Qt::Key_Down:
        if (event->modifiers() & Qt::AltModifier)
            return showMenu();
        return Q_EMIT ended();
    default:
        QLineEdit::keyPressEvent(event);
    }
}

} // namespace morv
