#include "ChooseInitialModeBase.h"

#include <QEvent>
#include <QFont>

namespace {

// Only the weight is set, so the rest of the font still follows the application font.
void makeBold(QWidget *widget)
{
    QFont bold;
    bold.setBold(true);
    widget->setFont(bold);
}

} // namespace

ChooseInitialModeBase::ChooseInitialModeBase(QWidget *parent)
    : QDialog(parent)
{
    setupUi(this);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

bool ChooseInitialModeBase::event(QEvent *event)
{
    const bool handled = QDialog::event(event);
    if (event->type() == QEvent::ApplicationFontChange) {
        makeBold(radPersonalInit);
        makeBold(radPersonalNoInit);
        makeBold(radGroup);
    }
    return handled;
}
