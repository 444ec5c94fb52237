#pragma once

#include "platform/Pasteboard.h"

#include <QList>

// A clipboard whose reads stay pending until the test completes them, so tests decide when
// and in what order results come back.
class FakePasteboard : public Pasteboard
{
public:
    struct Write
    {
        enum Kind { Flavors_, String } kind;
        Flavors flavors;
        QString text;
    };

    qint64 changeCount() const override { return m_changeCount; }

    void readFirstItem(ReadCompletion completion) override
    {
        m_reads.append(std::move(completion));
    }
    void cancelRead() override { ++m_cancels; }

    void writeFlavors(const Flavors &flavors) override
    {
        m_writes.append({Write::Flavors_, flavors, {}});
        m_content = flavors;
        bump();
    }
    void writeString(const QString &text) override
    {
        m_writes.append({Write::String, {}, text});
        m_content = {{QStringLiteral("text/plain"), text.toUtf8()}};
        bump();
    }

    void writePrimaryString(const QString &text) override { m_primaryWrites.append(text); }

    QString lastReadOwner() const override { return m_readOwner; }
    bool holdsOwnContent() const override { return ownContent; }

    bool ownContent = false;

    // Another application copies; owner names the program.
    void copy(const Flavors &flavors, const QString &owner = {})
    {
        m_content = flavors;
        m_owner = owner;
        bump();
    }
    // The owning program quits: the clipboard empties.
    void ownerQuits()
    {
        const qint64 lost = m_changeCount;
        m_content.clear();
        bump();
        emit ownerGone(lost);
    }
    // Completes read number index (cancelled or not) with the current content, or with given
    // flavors.
    void completeRead(int index) { completeRead(index, m_content); }
    void completeRead(int index, const Flavors &flavors)
    {
        m_readOwner = m_owner;
        m_reads.at(index)(flavors);
    }
    void completeLastRead() { completeRead(int(m_reads.size()) - 1); }

    int readCount() const { return int(m_reads.size()); }
    int cancelCount() const { return m_cancels; }
    const QList<Write> &writes() const { return m_writes; }
    const Flavors &content() const { return m_content; }
    const QStringList &primaryWrites() const { return m_primaryWrites; }

private:
    void bump()
    {
        ++m_changeCount;
        emit changed();
    }

    qint64 m_changeCount = 1;
    Flavors m_content;
    QString m_owner;
    QString m_readOwner;
    QList<ReadCompletion> m_reads;
    int m_cancels = 0;
    QList<Write> m_writes;
    QStringList m_primaryWrites;
};
