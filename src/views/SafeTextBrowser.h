#pragma once

#include <QTextBrowser>

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

    QVariant loadResource(int, const QUrl &) override { return QVariant(); }
};
