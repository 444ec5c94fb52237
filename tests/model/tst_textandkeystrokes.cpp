// The rules other programs' conventions impose: which bytes each text type carries, and which
// keystroke pastes into which program.

#include "model/PasteKeystrokeRules.h"
#include "model/TextFlavors.h"

#include <QTest>

using namespace TextFlavors;

namespace {

const QString kUnicode = QStringLiteral("gtk ünïcode € “quotes” 🙂");
// What GTK puts under "text/plain": ASCII with escapes, and CRLF.
const QByteArray kGtkEscaped = "gtk \\u00fcn\\u00efcode \\u20ac \\u201cquotes\\u201d \\U0001f642";

} // namespace

class TextAndKeystrokesTest : public QObject
{
    Q_OBJECT

private slots:
    void textOfACopy_data()
    {
        QTest::addColumn<Flavors>("flavors");
        QTest::addColumn<std::optional<QString>>("text");

        QTest::newRow("GTK's escaped text/plain loses to UTF8_STRING")
            << Flavors{{kPlain, kGtkEscaped},
                       {kPlainUtf8, kUnicode.toUtf8()},
                       {kUtf8String, kUnicode.toUtf8()}}
            << std::optional(kUnicode);
        QTest::newRow("CRLF and lone CR become LF")
            << Flavors{{kPlainUtf8, "one\r\ntwo\rthree\n"}}
            << std::optional(QStringLiteral("one\ntwo\nthree\n"));
        QTest::newRow("a type that does not decode gives way to the next")
            << Flavors{{kUtf8String, "\xff\xfe broken"}, {kPlain, "fine"}}
            << std::optional(QStringLiteral("fine"));
        QTest::newRow("Latin-1 STRING alone") << Flavors{{kString,
                                                          "gr\xfc\xdf"
                                                          "e"}}
                                              << std::optional(QStringLiteral("grüße"));
        QTest::newRow("COMPOUND_TEXT alone")
            << Flavors{{kCompoundText, "caf\xe9 \x1b%G\xe2\x82\xac\x1b%@"}}
            << std::optional(QStringLiteral("café €"));
        QTest::newRow("COMPOUND_TEXT in a character set not understood")
            << Flavors{{kCompoundText, "\x1b$(B\x30\x21"}} << std::optional<QString>();
        QTest::newRow("no text type")
            << Flavors{{"text/html", "<b>x</b>"}} << std::optional<QString>();
    }

    void textOfACopy()
    {
        QFETCH(Flavors, flavors);
        QFETCH(std::optional<QString>, text);
        QCOMPARE(plainText(flavors), text);
    }

    void bytesForEachServedType_data()
    {
        QTest::addColumn<QString>("type");
        QTest::addColumn<QByteArray>("bytes");

        QTest::newRow("UTF8_STRING") << kUtf8String << kUnicode.toUtf8();
        QTest::newRow("text/plain is UTF-8, never escaped") << kPlain << kUnicode.toUtf8();
        // One "?" for the emoji, not one per UTF-16 unit.
        QTest::newRow("STRING is Latin-1") << kString
                                           << QByteArray("gtk \xfcn\xef"
                                                         "code ? ?quotes? ?");
        QTest::newRow("TEXT beyond Latin-1 as COMPOUND_TEXT")
            << kText << encodeCompoundText(kUnicode);
        QTest::newRow("COMPOUND_TEXT: Latin-1 as is, the rest in UTF-8 segments")
            << kCompoundText
            << QByteArray("gtk \xfcn\xef"
                          "code \x1b%G\xe2\x82\xac\x1b%@ \x1b%G\xe2\x80\x9c\x1b%@quotes"
                          "\x1b%G\xe2\x80\x9d\x1b%@ \x1b%G\xf0\x9f\x99\x82\x1b%@");
    }

    void bytesForEachServedType()
    {
        QFETCH(QString, type);
        QFETCH(QByteArray, bytes);
        QCOMPARE(bytesFor(type, kUnicode), bytes);
        // What was served reads back as the same text, where the type can hold it.
        if (type != kString)
            QCOMPARE(plainText({{replyType(type == kPlain ? kPlainUtf8 : type, kUnicode), bytes}}),
                     kUnicode);
    }

    void textIsStringWhenLatin1HoldsIt()
    {
        QCOMPARE(replyType(kText, QStringLiteral("grüße")), kString);
        QCOMPARE(bytesFor(kText, QStringLiteral("grüße")),
                 QByteArray("gr\xfc\xdf"
                            "e"));
        QCOMPARE(replyType(kText, QStringLiteral("€")), kCompoundText);
        QCOMPARE(replyType(kUtf8String, QStringLiteral("€")), kUtf8String);
    }

    void keystrokeForAProgram_data()
    {
        using PasteKeystrokeRules::Override;
        QTest::addColumn<QStringList>("identifiers");
        QTest::addColumn<QList<Override>>("overrides");
        QTest::addColumn<PasteKeystroke>("keystroke");

        QTest::newRow("an editor gets Ctrl+V")
            << QStringList{"Mousepad", "mousepad"} << QList<Override>() << PasteKeystroke::controlV;
        QTest::newRow("xterm pastes PRIMARY with Shift+Insert")
            << QStringList{"XTerm", "xterm"} << QList<Override>() << PasteKeystroke::shiftInsert;
        QTest::newRow("a VTE terminal gets Ctrl+Shift+V")
            << QStringList{"Lxterminal", "lxterminal"} << QList<Override>()
            << PasteKeystroke::controlShiftV;
        QTest::newRow("matched by the instance part alone")
            << QStringList{"Custom-class", "kitty"} << QList<Override>()
            << PasteKeystroke::controlShiftV;
        QTest::newRow("the user's choice beats the table, any case")
            << QStringList{"XTerm", "xterm"}
            << QList<Override>{{"XTERM", PasteKeystroke::controlShiftV}}
            << PasteKeystroke::controlShiftV;
        QTest::newRow("the user's choice for the instance part")
            << QStringList{"Emacs", "emacs"}
            << QList<Override>{{"emacs", PasteKeystroke::shiftInsert}}
            << PasteKeystroke::shiftInsert;
        QTest::newRow("no identifier")
            << QStringList{"", ""} << QList<Override>{{"", PasteKeystroke::shiftInsert}}
            << PasteKeystroke::controlV;
    }

    void keystrokeForAProgram()
    {
        QFETCH(QStringList, identifiers);
        QFETCH(QList<PasteKeystrokeRules::Override>, overrides);
        QFETCH(PasteKeystroke, keystroke);
        QCOMPARE(PasteKeystrokeRules::keystrokeFor(identifiers, overrides), keystroke);
    }

    void overridesInSettingsForm()
    {
        using PasteKeystrokeRules::Override;
        const QList<Override> overrides{{"Emacs", PasteKeystroke::shiftInsert},
                                        {"my term", PasteKeystroke::controlShiftV}};
        const QStringList encoded = PasteKeystrokeRules::encode(overrides);
        QCOMPARE(encoded, (QStringList{"shift+insert Emacs", "ctrl+shift+v my term"}));
        QCOMPARE(PasteKeystrokeRules::decode(encoded), overrides);
        // Garbage is dropped; a later entry for the same program wins.
        QCOMPARE(PasteKeystrokeRules::decode(
                     {"", "ctrl+v", "alt+v Emacs", "shift+insert emacs", "Ctrl+V EMACS"}),
                 (QList<Override>{{"EMACS", PasteKeystroke::controlV}}));
    }
};

QTEST_GUILESS_MAIN(TextAndKeystrokesTest)
#include "tst_textandkeystrokes.moc"
