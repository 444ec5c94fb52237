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
    void postPasteKeystroke() override { ++keystrokes; }

    bool trusted = true;
    int trustChecks = 0;
    int keystrokes = 0;
};
