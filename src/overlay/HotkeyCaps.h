#pragma once

#include "KeyboardShortcuts/Shortcut.h"

#include <QObject>
#include <QStringList>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <optional>

// The overlay's own shortcut as key caps: one text per key, as the shortcut module names them
// ("Shift", "Super", "V"). Follows every stored shortcut change, so a shortcut recorded in the
// preferences shows at once.
class HotkeyCaps : public QObject
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("The application owns the key caps.")
    Q_PROPERTY(QStringList keys READ keys NOTIFY keysChanged)
    Q_PROPERTY(bool refused READ isRefused NOTIFY refusedChanged)

public:
    // The shortcut stored for the overlay; none when the user cleared it.
    using Source = std::function<std::optional<KeyboardShortcuts::Shortcut>()>;

    explicit HotkeyCaps(QObject *parent = nullptr);

    // Reads the caps from source now and on every change.
    void setSource(Source source);
    QStringList keys() const { return m_keys; }
    // The desktop refused the shortcut (another program holds it): the caps show it does not
    // work instead of promising it.
    bool isRefused() const { return m_refused; }
    void setRefused(bool refused);

    Q_INVOKABLE void refresh();

signals:
    void keysChanged();
    void refusedChanged();

private:
    Source m_source;
    QStringList m_keys;
    bool m_refused = false;
};
