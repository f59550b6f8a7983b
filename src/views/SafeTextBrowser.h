// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

#pragma once

#include <QImage>
#include <QTextBrowser>
#include <QTextDocument>

// Shows rich text that came from elsewhere (the server's personal messages, reports) without
// reaching for anything it names: links are not followed, and images and other resources,
// local or remote, are never loaded.
class SafeTextBrowser : public QTextBrowser
{
public:
    explicit SafeTextBrowser(QWidget *parent = nullptr)
        : QTextBrowser(parent)
    {
        setOpenLinks(false);
        setOpenExternalLinks(false);
    }

    // Laying out a paragraph takes time in the square of its longest stretch without a place
    // to break the line: 60 000 characters of mixed scripts in one stretch take seconds.
    static constexpr qsizetype MaxStretch = 1024;
    // Whether text has more than limit characters in a row without white space.
    static bool hasLongStretch(QStringView text, qsizetype limit = MaxStretch);
    // text with a line feed after every MaxStretch characters without white space, never
    // between the halves of a surrogate pair.
    static QString withLineBreaks(const QString &text);

    // Never nothing: given nothing, the document reads local files itself (file:///dev/zero
    // never ends), and an image that does not decode is read from its path. A blank pixel and
    // empty bytes show nothing.
    QVariant loadResource(int type, const QUrl &) override { return blankResource(type); }

    // What a resource of type is given instead of anything it names.
    static QVariant blankResource(int type)
    {
        if (type == QTextDocument::ImageResource) {
            QImage blank(1, 1, QImage::Format_ARGB32);
            blank.fill(Qt::transparent);
            return blank;
        }
        return QByteArray();
    }
};
