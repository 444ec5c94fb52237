#pragma once

#include <optional>
#include <string>
#include <vector>

// The running Cliphaven's single-instance socket, reached without Qt: the launcher is on the
// path of every key binding and script, and loading Qt alone costs more than the whole trip.
// The path and the messages are the ones the instance's listener (SingleInstance) uses.
namespace InstanceSocket {

// "<runtime folder>/cliphaven-<uid>[-<display>].socket", as the running instance names it;
// empty when the runtime folder cannot be worked out.
std::string socketPath();

// A connected socket's descriptor, or -1 when no instance listens there.
int connectTo(const std::string &path);

// Asks the instance to toggle its overlay; true once the request is written.
bool sendReopen(int fd);

struct Reply
{
    int status = 1;
    std::string out;
    std::string err;
};

// Runs a command in the instance; nothing when the connection broke before a whole reply.
std::optional<Reply> sendCommand(int fd,
                                 const std::vector<std::string> &arguments,
                                 const std::string &input);

} // namespace InstanceSocket
