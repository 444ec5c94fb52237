#include "SessionInfo.h"

#include <QCoreApplication>

SessionInfo::SessionInfo(Facts facts, std::function<void(const QString &)> copyText, QObject *parent)
    : QObject(parent)
    , m_facts(std::move(facts))
    , m_copyText(std::move(copyText))
{}

QString SessionInfo::aboutLine() const
{
    return QStringLiteral("Cliphaven %1 · %2")
        .arg(QCoreApplication::applicationVersion(), m_facts.description);
}

void SessionInfo::copyToggleCommand()
{
    if (m_copyText)
        m_copyText(toggleCommand());
}
