#include "MorvApp/Views/Sheets/ConnectSheet.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>
#include <algorithm>

namespace morv {

namespace {

constexpr QSize card{520, 440};
constexpr int mostRecentRows = 6;

/// A server's own words: each line by itself, with what would break out of it made visible.
QString lines(const std::string& text) {
    QStringList result;
    for (const auto& line : QString::fromStdString(text).split(QLatin1Char('\n')))
        result << shown(typedBytes(line));
    return result.join(QLatin1Char('\n'));
}

QLineEdit* field(QFormLayout& form, const QString& title, const char* name) {
    auto* edit = new QLineEdit;
    edit->setObjectName(QLatin1String(name));
    edit->setAccessibleName(title);
    form.addRow(title, edit);
    return edit;
}

} // namespace

ConnectSheet::ConnectSheet(AppModel& app, QWidget* window)
    : Sheet(QStringLiteral("Connect to Server"), card, Height::fitting, window), app_(app),
      connection_(app.services().store, app.services().pools, app.services().servers) {
    addressPage_ = buildAddress();
    questionPage_ = buildQuestion();
    body()->addWidget(addressPage_);
    body()->addWidget(questionPage_);
    note_ = addText({}, "connectNote");
    cancel_ = addCancel(QStringLiteral("Cancel"));
    act_ = addDefault(QStringLiteral("Connect"));
    connect(this, &Sheet::cancelled, this, &ConnectSheet::back);
    connect(act_, &QPushButton::clicked, this, &ConnectSheet::act);
    connect(&connection_, &ServerConnection::stateChanged, this, &ConnectSheet::follow);
    connect(&connection_, &ServerConnection::recentChanged, this, &ConnectSheet::showRecent);
    connect(&connection_, &ServerConnection::mounted, &app_, [&app](const FileURL& folder) {
        app.closeSheet();
        app.showFolder(folder);
    });
    follow();
    showHint();
    showRecent();
    present(address_);
}

QWidget* ConnectSheet::buildAddress() {
    auto* page = new QWidget(this);
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(Space::small);
    address_ = new QLineEdit(page);
    address_->setObjectName(QStringLiteral("serverAddress"));
    address_->setAccessibleName(QStringLiteral("Server address"));
    address_->setPlaceholderText(QStringLiteral("smb://server/share"));
    column->addWidget(address_);
    hint_ = new QLabel(page);
    hint_->setObjectName(QStringLiteral("secondary"));
    hint_->setWordWrap(true);
    column->addWidget(hint_);
    column->addSpacing(Space::small);
    recentTitle_ = new QLabel(QStringLiteral("Recent servers"), page);
    recentTitle_->setObjectName(QStringLiteral("heading"));
    column->addWidget(recentTitle_);
    recent_ = new QListWidget(page);
    recent_->setObjectName(QStringLiteral("recentServers"));
    recent_->setAccessibleName(recentTitle_->text());
    recent_->setToolTip(QStringLiteral("Delete removes an address from this list"));
    recent_->installEventFilter(this);
    column->addWidget(recent_);
    connect(address_, &QLineEdit::textChanged, this, [this] {
        showHint();
        if (connection_.state() == ServerConnection::State::failed)
            connection_.stop();
        follow();
    });
    connect(recent_, &QListWidget::currentTextChanged, this, [this](const QString& text) {
        if (!text.isEmpty())
            address_->setText(text);
    });
    connect(recent_, &QListWidget::itemDoubleClicked, this, [this] { act(); });
    return page;
}

QWidget* ConnectSheet::buildQuestion() {
    auto* page = new QWidget(this);
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(Space::medium);
    message_ = new QLabel(page);
    message_->setObjectName(QStringLiteral("serverMessage"));
    message_->setTextFormat(Qt::PlainText);
    message_->setWordWrap(true);
    column->addWidget(message_);
    form_ = new QFormLayout;
    form_->setHorizontalSpacing(Space::medium);
    form_->setVerticalSpacing(Space::small);
    user_ = field(*form_, QStringLiteral("Name"), "serverUser");
    domain_ = field(*form_, QStringLiteral("Domain"), "serverDomain");
    password_ = field(*form_, QStringLiteral("Password"), "serverPassword");
    password_->setEchoMode(QLineEdit::Password);
    guest_ = new QCheckBox(QStringLiteral("Connect as a guest"), page);
    guest_->setObjectName(QStringLiteral("serverGuest"));
    remember_ = new QCheckBox(QStringLiteral("Remember the password until I log out"), page);
    remember_->setObjectName(QStringLiteral("serverRemember"));
    form_->addRow(QString(), guest_);
    form_->addRow(QString(), remember_);
    column->addLayout(form_);
    choices_ = new QVBoxLayout;
    choices_->setSpacing(Space::small);
    column->addLayout(choices_);
    connect(guest_, &QCheckBox::toggled, this, [this](bool asGuest) {
        for (auto* edit : {user_, domain_, password_})
            edit->setEnabled(!asGuest);
    });
    return page;
}

void ConnectSheet::follow() {
    using State = ServerConnection::State;
    const auto state = connection_.state();
    const bool isReaching = state == State::reaching;
    const bool isAsking = state == State::asking;
    addressPage_->setVisible(!isAsking);
    questionPage_->setVisible(isAsking);
    addressPage_->setEnabled(!isReaching);
    if (isAsking)
        showQuestion();
    note_->setText(state == State::failed ? shown(connection_.failure())
                   : isReaching           ? QStringLiteral("Connecting…")
                                          : QString());
    const auto role = state == State::failed ? QStringLiteral("errorText") : QStringLiteral("secondary");
    if (note_->objectName() != role) {
        note_->setObjectName(role);
        note_->style()->unpolish(note_);
        note_->style()->polish(note_);
    }
    const bool hasChoices = !connection_.question().choices.empty();
    act_->setText(isAsking ? QStringLiteral("Sign In") : QStringLiteral("Connect"));
    act_->setVisible(!(isAsking && hasChoices));
    // Hidden it must not be the answer of a Return either.
    act_->setEnabled(!isReaching && (isAsking ? !hasChoices : !address_->text().trimmed().isEmpty()));
    cancel_->setText(isReaching || isAsking ? QStringLiteral("Stop") : QStringLiteral("Cancel"));
    if (isReaching)
        cancel_->setFocus();
    else if (state == State::failed || (!isAsking && cancel_->hasFocus()))
        address_->setFocus();
}

void ConnectSheet::showRecent() {
    const QSignalBlocker quiet(recent_);
    recent_->clear();
    for (const auto& address : connection_.recent())
        recent_->addItem(editableName(address));
    recent_->setCurrentRow(-1);
    const int rows = std::min(recent_->count(), mostRecentRows);
    recent_->setFixedHeight(rows * recent_->sizeHintForRow(0) + 2 * recent_->frameWidth());
    recent_->setVisible(recent_->count() > 0);
    recentTitle_->setVisible(recent_->count() > 0);
}

void ConnectSheet::showHint() {
    hint_->setText(ours(ServerAddress::hint(typedBytes(address_->text()))));
}

void ConnectSheet::showQuestion() {
    const auto& question = connection_.question();
    message_->setText(lines(question.message));
    const bool isChoice = !question.choices.empty();
    const auto show = [this](QWidget* widget, bool wanted) {
        widget->setVisible(wanted);
        if (auto* label = form_->labelForField(widget))
            label->setVisible(wanted);
    };
    show(user_, question.asksUser && !isChoice);
    show(domain_, question.asksDomain && !isChoice);
    show(password_, question.asksPassword && !isChoice);
    show(guest_, question.allowsGuest && !isChoice);
    show(remember_, question.allowsRemembering && !isChoice);
    user_->setText(editableName(question.user));
    domain_->setText(editableName(question.domain));
    password_->clear();
    guest_->setChecked(false);
    showChoices();
    auto* first = question.asksUser && question.user.empty() ? user_ : password_;
    if (!isChoice)
        first->setFocus();
}

void ConnectSheet::showChoices() {
    while (auto* item = choices_->takeAt(0)) {
        item->widget()->deleteLater();
        delete item;
    }
    const auto& choices = connection_.question().choices;
    for (std::size_t i = 0; i < choices.size(); ++i) {
        auto* button = new QPushButton(buttonText(shown(choices[i])));
        button->setObjectName(QStringLiteral("serverChoice"));
        connect(button, &QPushButton::clicked, this,
                [this, i] { connection_.answer(answerOf(static_cast<int>(i))); });
        choices_->addWidget(button);
    }
    // Nothing is trusted by a key that was pressed for something else.
    if (!choices.empty())
        cancel_->setFocus();
}

ServerAnswer ConnectSheet::answerOf(int choice) const {
    return {typedBytes(user_->text()), typedBytes(domain_->text()), typedBytes(password_->text()),
            guest_->isChecked(),       remember_->isChecked(),      choice};
}

void ConnectSheet::act() {
    if (connection_.state() == ServerConnection::State::asking)
        connection_.answer(answerOf(0));
    else if (act_->isEnabled())
        connection_.reach(typedBytes(address_->text()));
}

void ConnectSheet::back() {
    const auto state = connection_.state();
    const bool isUnderWay =
        state == ServerConnection::State::reaching || state == ServerConnection::State::asking;
    if (!isUnderWay)
        return app_.closeSheet();
    connection_.stop();
    address_->setFocus();
}

bool ConnectSheet::eventFilter(QObject* watched, QEvent* event) {
    if (watched == recent_ && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Delete && recent_->currentItem()) {
        connection_.forget(connection_.recent()[static_cast<std::size_t>(recent_->currentRow())]);
        return true;
    }
    return Sheet::eventFilter(watched, event);
}

} // namespace morv
