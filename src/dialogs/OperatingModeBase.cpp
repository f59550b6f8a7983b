#include "OperatingModeBase.h"

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

OperatingModeBase::OperatingModeBase(QWidget *parent)
    : QDialog(parent)
{
    setupUi(this);
    connect(buttonBox, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttonBox, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

bool OperatingModeBase::event(QEvent *event)
{
    const bool handled = QDialog::event(event);
    if (event->type() == QEvent::ApplicationFontChange) {
        makeBold(radPersonal);
        makeBold(radGroup);
    }
    return handled;
}
