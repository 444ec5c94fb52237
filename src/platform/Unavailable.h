#pragma once

#include "KeyPoster.h"
#include "Workspace.h"

// For a desktop that does not say which application is in front: nothing is, so the ignore list
// matches nothing and the overlay opens on the primary screen.
class UnknownWorkspace final : public Workspace
{
public:
    std::optional<RunningApplication> frontmostApplication() override { return std::nullopt; }
    void activate(const RunningApplication &) override {}
    std::optional<QRect> windowFrame(const RunningApplication &) override { return std::nullopt; }
};

// For a desktop that lets no program type into another: the pick stays on the clipboard.
class UntrustedKeyPoster final : public KeyPoster
{
public:
    bool isTrusted() override { return false; }
    void postPasteKeystroke(PasteKeystroke) override {}
};
