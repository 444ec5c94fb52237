#pragma once

#include "platform/KeyPoster.h"

class FakeKeyPoster : public KeyPoster
{
public:
    bool isTrusted() override
    {
        ++trustChecks;
        return trusted;
    }
    void postPasteKeystroke(PasteKeystroke keystroke) override
    {
        ++keystrokes;
        lastKeystroke = keystroke;
    }

    bool trusted = true;
    int trustChecks = 0;
    int keystrokes = 0;
    PasteKeystroke lastKeystroke = PasteKeystroke::controlV;
};
