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

    // Starts a program; with feedInput, input is written to its standard input, then closed.
    QProcess *start(const QString &program,
                    const QStringList &arguments,
                    const QByteArray &input = {},
                    bool feedInput = false)
    {
        auto &process = m_processes.emplace_back(std::make_unique<QProcess>());
        process->start(program, arguments);
        if (!process->waitForStarted(10000))
            qFatal("cannot start %s", qPrintable(program));
        if (feedInput) {
            process->write(input);
            process->closeWriteChannel();
        }
        return process.get();
    }

    // Runs a program to its end and returns its standard output, or nothing when it failed.
    // The event loop keeps running meanwhile, so this process can answer the program (as a
    // clipboard owner).
    static std::optional<QByteArray> run(const QString &program, const QStringList &arguments)
    {
        QProcess process;
        process.start(program, arguments);
        if (!QTest::qWaitFor([&] { return process.state() == QProcess::NotRunning; }, 20000)) {
            process.kill();
            process.waitForFinished(5000);
        }
        if (process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0
            && process.error() != QProcess::FailedToStart)
            return process.readAllStandardOutput();
        qWarning() << program << arguments << "failed:" << process.readAllStandardError();
        return std::nullopt;
    }
    static bool succeeds(const QString &program, const QStringList &arguments)
    {
        return run(program, arguments).has_value();
    }

    void stopAll()
    {
        for (auto &process : m_processes) {
            process->kill();
            process->waitForFinished(5000);
        }
        m_processes.clear();
    }

private:
    std::vector<std::unique_ptr<QProcess>> m_processes;
};
