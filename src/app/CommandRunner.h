#pragma once

#include "CommandReply.h"
#include "model/Category.h"
#include "model/ClipItem.h"

#include <QStringList>

#include <functional>
#include <optional>

class Store;

// The `cliphaven` command line's commands (list, get, copy, paste, add, search, delete, clear,
// pause, resume, categories), run either inside the running Cliphaven over its store, or over a
// history read from the store file when Cliphaven is not running; then the commands that
// change something refuse. A command that fails changes nothing and says why on standard
// error with a non-zero status: 1 for a failure, 2 for a usage error.
class CommandRunner
{
public:
    // What only the running Cliphaven can do with the clipboard and its settings.
    struct Actions
    {
        // Puts a clip back on the clipboard (not recorded again), and pastes it.
        std::function<void(const ClipItem &)> copy;
        std::function<void(const ClipItem &)> paste;
        // Puts new content on the clipboard, recorded like any copy.
        std::function<void(const ClipItem &)> put;
        std::function<void(bool paused)> setPaused;
    };

    // Over the running instance's store.
    CommandRunner(Store &store, Actions actions);
    // Over a saved history: reading commands only.
    CommandRunner(QList<ClipItem> history, QList<Category> categories);

    // arguments: the command's name, then its arguments; input: its standard input.
    CommandReply run(const QStringList &arguments, const QByteArray &input = {});

    // A history read from the file at path without changing it; an absent file is an empty
    // history. Nothing, with a message in error, when it cannot be read or decoded.
    static std::optional<CommandRunner> fromStoreFile(const QString &path, QString &error);

private:
    struct Parsed;
    struct Found;

    QList<ClipItem> history() const;
    QList<Category> categories() const;

    CommandReply list(const Parsed &parsed, const QList<ClipItem> &items, const QList<int> &indexes);
    std::optional<Found> find(const Parsed &parsed, const QString &key, CommandReply &failure) const;
    const Category *categoryNamed(const Parsed &parsed, CommandReply &failure) const;

    Store *m_store = nullptr;
    Actions m_actions;
    QList<ClipItem> m_history;
    QList<Category> m_categories;
};
