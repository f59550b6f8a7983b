#pragma once

#include <QTextBrowser>

// Shows the server's personal messages as rich text without reaching for anything they name:
// images and other resources, local or remote, are never loaded.
class MessageBrowser : public QTextBrowser
{
public:
    explicit MessageBrowser(QWidget *parent = nullptr)
        : QTextBrowser(parent)
    {
        setOpenLinks(false);
        setOpenExternalLinks(false);
    }

    QVariant loadResource(int, const QUrl &) override { return QVariant(); }
};
