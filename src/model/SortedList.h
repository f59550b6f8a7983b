// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QList>

#include <algorithm>

// A list of records the document owns, appended to unsorted and put in the records' own
// order (operator<) by an explicit sort(). It never deletes what it holds.
template<typename T>
class SortedList : public QList<T *>
{
public:
    // Stable, so records that compare equal keep the order they were appended in.
    void sort()
    {
        std::stable_sort(this->begin(), this->end(),
                         [](const T *a, const T *b) { return *a < *b; });
    }

    // Position of this very object, or -1.
    qsizetype findRef(const T *item) const { return this->indexOf(const_cast<T *>(item)); }

    // Takes this very object out of the list; true when it was there.
    bool removeRef(const T *item)
    {
        const qsizetype i = findRef(item);
        if (i < 0)
            return false;
        this->removeAt(i);
        return true;
    }
};
