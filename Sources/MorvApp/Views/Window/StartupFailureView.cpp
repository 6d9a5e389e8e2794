#include "MorvApp/Views/Window/StartupFailureView.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QShortcut>
#include <QVBoxLayout>

namespace morv {

namespace {

constexpr QSize frameRoom{16, 48};

} // namespace

StartupFailureView::StartupFailureView(const std::string& reason, QWidget* parent) : QWidget(parent) {
    constexpr int padding = 40;
    const QSize whole(640, 360);
    setFixedSize(screen() ? whole.boundedTo(screen()->availableSize() - frameRoom) : whole);
    setWindowTitle(QStringLiteral("Morv"));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(padding, padding, padding, padding);
    column->setSpacing(Space::medium);
    column->addStretch(1);
    auto* symbol = new QLabel(this);
    symbol->setAlignment(Qt::AlignCenter);
    symbol->setPixmap(
        QIcon::fromTheme(QStringLiteral("drive-harddisk")).pixmap(QSize(64, 64), devicePixelRatioF()));
    column->addWidget(symbol);
    auto* title = new QLabel(QStringLiteral("Morv couldn’t open its local database"), this);
    title->setObjectName(QStringLiteral("title"));
    title->setAlignment(Qt::AlignCenter);
    column->addWidget(title);
    auto* description =
        new QLabel(reason.empty() ? QStringLiteral("Unknown storage error") : shownBriefly(reason), this);
    description->setObjectName(QStringLiteral("secondary"));
    description->setTextFormat(Qt::PlainText);
    description->setAlignment(Qt::AlignCenter);
    description->setWordWrap(true);
    column->addWidget(description);
    column->addStretch(1);
    // The one window of the process: with it the process ends.
    auto* quit = new QPushButton(QStringLiteral("Quit"), this);
    quit->setDefault(true);
    column->addWidget(quit, 0, Qt::AlignHCenter);
    connect(quit, &QPushButton::clicked, this, &QWidget::close);
    for (const auto key : {Qt::Key_Escape, Qt::Key_Return, Qt::Key_Enter})
        connect(new QShortcut(QKeySequence(key), this), &QShortcut::activated, this, &QWidget::close);
    quit->setFocus();
}

} // namespace morv
