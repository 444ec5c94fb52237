#pragma once

#include <QByteArray>

// What a command run for the `cliphaven` command line answers: its exit status and the bytes
// for its standard output and standard error.
struct CommandReply
{
    int status = 0;
    QByteArray out;
    QByteArray err;
};
