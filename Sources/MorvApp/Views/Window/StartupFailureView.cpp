#include "MorvApp/Views/Window/StartupFailureView.h"

#include "MorvApp/Views/Theme/Text.h"
#include "MorvApp/Views/Theme/Theme.h"

#include <QIcon>
#include <QLabel>
#include <QVBoxLayout>

namespace morv {

StartupFailureView::StartupFailureView(const std::string& reason, QWidget* parent) : QWidget(parent) {
    constexpr int padding = 40;
    setFixedSize(640, 360);
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
        new QLabel(reason.empty() ? QStringLiteral("Unknown storage error") : shown(reason), this);
    description->setObjectName(QStringLiteral("secondary"));
    description->setTextFormat(Qt::PlainText);
    description->setAlignment(Qt::AlignCenter);
    description->setWordWrap(true);
    column->addWidget(description);
    column->addStretch(1);
}

} // namespace morv
