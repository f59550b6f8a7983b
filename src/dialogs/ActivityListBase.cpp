#include "ActivityListBase.h"

ActivityListBase::ActivityListBase(QWidget *parent)
    : ModalWidget(parent)
{
    setupUi(this);
}
