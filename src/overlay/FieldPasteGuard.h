#pragma once

#include <QObject>

#include <functional>

// Keeps Qt's text fields from reading the clipboard on the interface thread. Qt Quick's
// TextInput and TextEdit re-check "can paste" with a synchronous clipboard read whenever the
// clipboard changes (even while their window is hidden), and paste with another; a clipboard
// owner that never answers then freezes the whole interface for seconds at a time.
//
// Installed once on the application: QClipboard's change signals are blocked (nothing in the
// process needs them: the clipboard is watched on a connection of its own), and the paste keys
// in an editable Qt Quick text field insert text read in the background instead, as if typed.
// A middle click, which would paste the primary selection synchronously, is not passed on.
class FieldPasteGuard : public QObject
{
    Q_OBJECT

public:
    // Reads the clipboard's text off the interface thread and calls back on it later.
    using TextReader = std::function<void(std::function<void(const QString &)>)>;

    explicit FieldPasteGuard(TextReader reader, QObject *parent = nullptr);
    ~FieldPasteGuard() override;

    // An editable text item of Qt Quick, which would read the clipboard itself.
    static bool isEditableTextItem(const QObject *object);

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    TextReader m_reader;
};
