#include "Notifier.h"

namespace KeyboardShortcuts {

Notifier &Notifier::shared()
{
    static Notifier notifier;
    return notifier;
}

} // namespace KeyboardShortcuts
