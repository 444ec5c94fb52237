#pragma once

#include "platform/KeyPoster.h"

#include <QList>

class FakeKeyPoster : public KeyPoster
{
public:
    bool isTrusted() override
    {
        ++trustChecks;
        return trusted;
    }
    void postPasteKeystroke(PasteKeystroke keystroke) override { keystrokes.append(keystroke); }

    bool trusted = true;
    int trustChecks = 0;
    QList<PasteKeystroke> keystrokes;
};
