#pragma once

// The keystroke that pastes in the target program.
enum class PasteKeystroke { controlV, controlShiftV, shiftInsert };

// Synthetic keyboard input into whatever application has the focus. Main thread only.
class KeyPoster
{
public:
    virtual ~KeyPoster() = default;

    // Whether posted keys can reach other applications in this session at all.
    virtual bool isTrusted() = 0;
    // Releases modifier keys still held, then types the keystroke. Does nothing when untrusted.
    virtual void postPasteKeystroke(PasteKeystroke keystroke) = 0;
};
