// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#include "CategoryListBase.h"

#include "widgets/Resource.h"

CategoryListBase::CategoryListBase(QWidget *parent)
    : ModalWidget(parent)
{
    setupUi(this);
    btnNew->setIcon(Resource::loadIcon(QStringLiteral("new")));
    btnEdit->setIcon(Resource::loadIcon(QStringLiteral("edit")));
    btnDelete->setIcon(Resource::loadIcon(QStringLiteral("trash")));
}
