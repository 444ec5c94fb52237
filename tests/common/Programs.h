#pragma once

#include <QDebug>
#include <QProcess>
#include <QTest>

#include <memory>
#include <vector>

// Programs a desktop test starts (xclip, the test clipboard owner, zenity...). Every one is
// killed by its own handle when the test function ends.
class Programs
{
public:
    ~Programs() { stopAll(); }

    // Starts a program; input, when given, is written to its standard input, which is then
    // closed.
    QProcess *start(const QString &program,
                    const QStringList &arguments,
                    const QByteArray &input = {},
                    bool feedInput = false)
    {
        auto process = std::make_unique<QProcess>();
        process->setProcessChannelMode(QProcess::SeparateChannels);
        process->start(program, arguments);
        if (!process->waitForStarted(10000))
            qFatal("cannot start %s", qPrintable(program));
        if (feedInput) {
            process->write(input);
            process->closeWriteChannel();
        }
        m_processes.push_back(std::move(process));
        return m_processes.back().get();
    }

    // Runs a program to its end and returns its standard output. The event loop keeps
    // running meanwhile, so this process can answer the program (as a clipboard owner).
    static QByteArray run(const QString &program, const QStringList &arguments, bool *ok = nullptr)
    {
        QProcess process;
        process.start(program, arguments);
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 20000)) {
            process.kill();
            process.waitForFinished(5000);
        }
        const bool succeeded = process.exitStatus() == QProcess::NormalExit
                               && process.exitCode() == 0
                               && process.error() != QProcess::FailedToStart;
        if (!succeeded)
            qWarning() << program << arguments << "failed:" << process.readAllStandardError();
        if (ok)
            *ok = succeeded;
        return process.readAllStandardOutput();
    }

    // Runs a program to its end; whether it succeeded.
    static bool succeeds(const QString &program, const QStringList &arguments)
    {
        bool ok = false;
        run(program, arguments, &ok);
        return ok;
    }

    QList<QProcess *> processes() const
    {
        QList<QProcess *> all;
        for (const auto &process : m_processes)
            all.append(process.get());
        return all;
    }

    void stopAll()
    {
        for (auto &process : m_processes) {
            if (process->state() != QProcess::NotRunning) {
                process->kill();
                process->waitForFinished(5000);
            }
        }
        m_processes.clear();
    }

private:
    std::vector<std::unique_ptr<QProcess>> m_processes;
};
