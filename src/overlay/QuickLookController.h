#pragma once

#include "model/ClipItem.h"

#include <QString>
#include <QUrl>

#include <optional>

// One previewed clip: the file written for it and the title shown above it.
struct QuickLookItem
{
    QUrl url;
    QString title;

    friend bool operator==(const QuickLookItem &, const QuickLookItem &) = default;
};

// Writes a clip to a file of its own for the preview window: "<UUID>.txt" (UTF-8) or
// "<UUID>.png", in a folder "Cliphaven-QL" that only the user can enter. Files are replaced
// atomically and never deleted: the same clip always lands in the same file. Failures are
// silent: no item.
class QuickLookController
{
public:
    static constexpr int kTitleLength = 60;
    static inline const QString kFolderName = QStringLiteral("Cliphaven-QL");

    // The process-wide instance on defaultFolder(), made on first use.
    static QuickLookController &shared();
    // "Cliphaven-QL" under $XDG_RUNTIME_DIR when that is a private folder of this user, else
    // under the user's cache folder; never in the shared /tmp.
    static QString defaultFolder();

    // Creates the folder (mode 0700) now; a failure is only noticed by makeItem().
    explicit QuickLookController(QString folder);

    QString folder() const { return m_folder; }
    // The folder exists, is a real directory (not a symbolic link), belongs to this user and
    // admits no one else; a folder of ours with wider permissions is tightened. Made when
    // missing.
    bool ensureFolder() const;

    std::optional<QuickLookItem> makeItem(const ClipItem &clip) const;
    static QString title(const ClipItem &clip);

    // The item the preview window shows; kept after it closes.
    const std::optional<QuickLookItem> &item() const { return m_item; }
    void setItem(const std::optional<QuickLookItem> &item) { m_item = item; }

private:
    QString m_folder;
    std::optional<QuickLookItem> m_item;
};
