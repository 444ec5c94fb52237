#include "overlay/FieldPasteGuard.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickWindow>
#include <QSignalSpy>
#include <QTest>

#include <memory>

// Qt's text fields never touch the clipboard themselves: paste keys go to the background
// reader, and the clipboard's change signal reaches no field.
class TestFieldPaste : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_requests.clear();
        m_guard = std::make_unique<FieldPasteGuard>(
            [this](std::function<void(const QString &)> done) {
                m_requests.append(std::move(done));
            });
        QQmlComponent component(&m_engine);
        component.setData(R"(
            import QtQuick
            Window {
                width: 300; height: 200; visible: true
                TextInput { objectName: "input"; width: 300; height: 40; text: "ab" }
                TextEdit { objectName: "readOnly"; y: 100; width: 300; height: 40; readOnly: true }
            })",
                          QUrl());
        m_window.reset(qobject_cast<QQuickWindow *>(component.create()));
        QVERIFY2(m_window, qPrintable(component.errorString()));
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
        m_input = m_window->findChild<QQuickItem *>("input");
        m_input->forceActiveFocus();
        QTRY_VERIFY(m_input->hasActiveFocus());
    }

    void cleanup()
    {
        m_window.reset();
        m_guard.reset();
    }

    void pasteKeysReadInTheBackgroundAndTypeTheText_data()
    {
        QTest::addColumn<int>("key");
        QTest::addColumn<int>("modifiers");
        QTest::newRow("Ctrl+V") << int(Qt::Key_V) << int(Qt::ControlModifier);
        QTest::newRow("Shift+Insert") << int(Qt::Key_Insert) << int(Qt::ShiftModifier);
    }

    void pasteKeysReadInTheBackgroundAndTypeTheText()
    {
        QFETCH(int, key);
        QFETCH(int, modifiers);
        QGuiApplication::clipboard()->setText(QStringLiteral("what Qt would have read"));
        QSignalSpy edited(m_input, SIGNAL(textEdited()));
        m_input->setProperty("cursorPosition", 1);
        QTest::keyClick(m_window.get(), Qt::Key(key), Qt::KeyboardModifiers(modifiers));
        QCOMPARE(m_input->property("text").toString(), QStringLiteral("ab"));
        QCOMPARE(m_requests.size(), 1);
        m_requests.takeFirst()(QStringLiteral("XY"));
        QCOMPARE(m_input->property("text").toString(), QStringLiteral("aXYb"));
        QCOMPARE(edited.count(), 1);
    }

    void answerAfterFocusMovedIsDropped()
    {
        QTest::keyClick(m_window.get(), Qt::Key_V, Qt::ControlModifier);
        m_window->findChild<QQuickItem *>("readOnly")->forceActiveFocus();
        m_requests.takeFirst()(QStringLiteral("late"));
        QCOMPARE(m_input->property("text").toString(), QStringLiteral("ab"));
    }

    void readOnlyFieldsAndOtherKeysPassThrough()
    {
        QTest::keyClick(m_window.get(), Qt::Key_C);
        QCOMPARE(m_input->property("text").toString(), QStringLiteral("abc"));
        m_window->findChild<QQuickItem *>("readOnly")->forceActiveFocus();
        QTest::keyClick(m_window.get(), Qt::Key_V, Qt::ControlModifier);
        QVERIFY(m_requests.isEmpty());
    }

    void clipboardChangesReachNoField()
    {
        QSignalSpy changed(QGuiApplication::clipboard(), &QClipboard::dataChanged);
        QGuiApplication::clipboard()->setText(QStringLiteral("changed"));
        QCOMPARE(changed.count(), 0);
    }

    void middleClickIsNotPassedOn()
    {
        QSignalSpy edited(m_input, SIGNAL(textEdited()));
        QTest::mouseClick(m_window.get(), Qt::MiddleButton, {}, QPoint(10, 10));
        QCOMPARE(m_input->property("text").toString(), QStringLiteral("ab"));
        QCOMPARE(edited.count(), 0);
    }

private:
    QQmlEngine m_engine;
    std::unique_ptr<QQuickWindow> m_window;
    std::unique_ptr<FieldPasteGuard> m_guard;
    QQuickItem *m_input = nullptr;
    QList<std::function<void(const QString &)>> m_requests;
};

QTEST_MAIN(TestFieldPaste)
#include "tst_fieldpaste.moc"
