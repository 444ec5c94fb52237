#pragma once

#include "platform/Workspace.h"

#include <QList>

class FakeWorkspace : public Workspace
{
public:
    std::optional<RunningApplication> frontmostApplication() override
    {
        ++queries;
        return frontmost;
    }
    void activate(const RunningApplication &app) override { activated.append(app); }
    std::optional<QRect> windowFrame(const RunningApplication &) override { return frame; }

    std::optional<RunningApplication> frontmost;
    std::optional<QRect> frame;
    int queries = 0;
    QList<RunningApplication> activated;
};
