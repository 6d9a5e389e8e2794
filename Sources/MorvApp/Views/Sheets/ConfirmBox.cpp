#include "MorvApp/Views/Sheets/ConfirmBox.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

namespace morv {

void askBefore(QWidget& parent, const Question& question, std::function<void()> act,
               std::function<void()> stayed) {
    auto* box = new QMessageBox(QMessageBox::Question, question.title, question.title, QMessageBox::NoButton,
                                &parent);
    box->setObjectName(QLatin1String(question.name));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(question.text);
    // A name in it is no markup; the box's own setting reaches only its title.
    for (auto* label : box->findChildren<QLabel*>())
        label->setTextFormat(Qt::PlainText);
    // Of the one role that every desktop lays out in this order.
    auto* stay = box->addButton(question.stay, QMessageBox::ActionRole);
    auto* go = box->addButton(question.act, QMessageBox::ActionRole);
    box->setDefaultButton(stay);
    box->setEscapeButton(stay);
    QObject::connect(box, &QMessageBox::finished, &parent,
                     [box, go, act = std::move(act), stayed = std::move(stayed)] {
                         if (box->clickedButton() == go)
                             act();
                         else if (stayed)
                             stayed();
                     });
    box->open();
}

} // namespace morv
