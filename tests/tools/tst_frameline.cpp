#include "frameline.h"

#include "cellwidth.h"
#include "someframes.h"

#include <QTest>

using namespace someframes;
using namespace tarvexctl;

namespace {

const QString PRINT = u"{\"cmd\":\"print\",\"data\":{\"copies\":1}}"_s;

/// The line of one frame without colours.
QString lineOf(const SeenFrame& frame, int width = 0)
{
    return FrameLines(Palette(), FrameLines::OneLine, width).text(frame).section(u'\n', 1);
}

} // namespace

class TstFrameLine : public QObject
{
    Q_OBJECT
private Q_SLOTS:

    void initTestCase() { qputenv("TZ", "UTC"); }

    void line_data();
    void line();
    void talk_isAligned();
    void day_isShownOnce();
    void line_isCutToTheWidth_data();
    void line_isCutToTheWidth();
    void longNames_stayWithinTheWidth();
    void texts_cannotControlTheTerminal();
    void full_showsAllOfTheData();
    void colours_markErrors();
};

Q_DECLARE_METATYPE(SeenFrame)

void TstFrameLine::line_data()
{
    QTest::addColumn<SeenFrame>("frame");
    QTest::addColumn<QString>("shown");
    const SeenFrame load = request(7, u"gui"_s, u"loadState"_s, {{u"owner"_s, u"door"_s}});
    QTest::newRow("request") << load << u"gui -> bus  loadState door"_s;
    QTest::newRow("reply") << reply(8, load, 840, {{u"owner"_s, u"door"_s}, {u"state"_s, u"open"_s}})
                           << u"bus -> gui  <- #7 0.8 ms ok loadState door: open"_s;
    QTest::newRow("slow reply") << reply(8, load, 2500000) << u"bus -> gui  <- #7 2500 ms ok loadState"_s;
    QTest::newRow("error") << refusal(8, load, 5, u"There is no state"_s)
                           << u"bus -> gui  <- #7 0.8 ms error 5 There is no state: loadState"_s;
    SeenFrame answer = request(9, u"printer"_s, u"sendMessage"_s,
                               {{u"sender"_s, u"printer"_s},
                                {u"reciever"_s, u"gui"_s},
                                {u"message"_s, u"{\"cmd\":\"printed\",\"data\":{\"number\":1}}"_s}});
    answer.call = 5;
    answer.callUs = 310000;
    QTest::newRow("answer to a command")
        << answer << u"printer -> gui  send printed (answer to #5 after 310 ms) {\"number\":1}"_s;
    SeenFrame strange = reply(8, load);
    strange.answers = 0;
    QTest::newRow("request not seen") << strange << u"bus -> gui  <- ? ok loadState"_s;
    const SeenFrame send = message(7, u"gui"_s, u"printer"_s, PRINT);
    QTest::newRow("command") << send << u"gui -> printer  send print {\"copies\":1}"_s;
    QTest::newRow("pushed command") << push(7, u"gui"_s, u"printer"_s, PRINT)
                                    << u"gui -> printer  push print {\"copies\":1}"_s;
    QTest::newRow("acknowledgement") << reply(8, push(7, u"gui"_s, u"printer"_s, PRINT), 1200, {{u"uid"_s, u"uid"_s}})
                                     << u"printer -> bus  <- #7 1.2 ms ack push"_s;
    QTest::newRow("text to all") << message(7, u"gui"_s, QString(), u"two\nlines"_s)
                                 << u"gui -> *  send \"two\\nlines\""_s;
    QTest::newRow("handshake") << request(7, QString(), u"handshake"_s, {{u"name"_s, u"gui"_s}})
                               << u"gui -> bus  handshake gui"_s;
    QTest::newRow("no name yet") << request(7, QString(), u"loadState"_s, {}) << u"? -> bus  loadState"_s;
    const QVariantList publishers{QVariantMap{{u"name"_s, u"door"_s}, {u"goal"_s, 3}}};
    QTest::newRow("subscribe") << request(7, u"gui"_s, u"subscribe"_s, {{u"publishers"_s, publishers}})
                               << u"gui -> bus  subscribe door:3"_s;
    QTest::newRow("settings") << request(7, u"gui"_s, u"saveSettings"_s,
                                         {{u"owner"_s, u"door"_s}, {u"settings"_s, QVariantList{1, 2}}})
                              << u"gui -> bus  saveSettings door, 2 values"_s;
    SeenFrame large = request(7, u"gui"_s, u"saveState"_s, {});
    large.isDataLeftOut = true;
    large.size = 3000000;
    QTest::newRow("data left out")
        << large << u"gui -> bus  saveState (3000000 bytes: too large or too deeply nested to be shown)"_s;
    SeenFrame late = load;
    late.fault = u"delay 200 ms"_s;
    QTest::newRow("fault") << late << u"gui -> bus  loadState door [fault: delay 200 ms]"_s;
    QTest::newRow("opened") << incident(7, Kind::Opened) << u"connection 1 opened (query)"_s;
    QTest::newRow("closed") << incident(7, Kind::Closed, u"gui"_s) << u"gui  connection 1 closed (query)"_s;
    QTest::newRow("bad") << incident(7, Kind::Bad, u"gui"_s, u"a size line \"1x\""_s)
                         << u"gui  bad: a size line \"1x\" (connection 1, query)"_s;
    QTest::newRow("gap") << incident(7, Kind::Gap, QString(), u"3 frames"_s) << u"gap: 3 frames"_s;
}

void TstFrameLine::line()
{
    QFETCH(SeenFrame, frame);
    QFETCH(QString, shown);
    QCOMPARE(lineOf(frame), u"10:11:12.345  %1  %2\n"_s.arg(u"#%1"_s.arg(frame.number).rightJustified(5), shown));
}

void TstFrameLine::talk_isAligned()
{
    FrameLines lines((Palette()));
    const SeenFrame send = message(7, u"gui"_s, u"printer"_s, PRINT);
    const QString first = lines.text(send);
    QCOMPARE(first + lines.text(reply(8, send)),
             u"2026-03-01\n"
             "10:11:12.345     #7  gui -> printer  send print {\"copies\":1}\n"
             "10:11:12.345     #8  bus -> gui      <- #7 0.8 ms ok send print\n"_s);
}

void TstFrameLine::day_isShownOnce()
{
    FrameLines lines((Palette()));
    SeenFrame frame = incident(7, Kind::Opened);
    QVERIFY(lines.text(frame).startsWith(u"2026-03-01\n"_s));
    QVERIFY(lines.text(frame).startsWith(u"10:11:12"_s));
    frame.timeUs += 24LL * 3600 * 1000000;
    QVERIFY(lines.text(frame).startsWith(u"2026-03-02\n10:11:12"_s));
}

void TstFrameLine::line_isCutToTheWidth_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("width");
    QTest::newRow("narrow") << QString(500, u'x') << 80;
    QTest::newRow("no terminal") << QString(500, u'x') << 0;
    QTest::newRow("wide characters") << QString(500, QChar(0x6f22)) << 81;
    QTest::newRow("control characters") << QString(500, QChar(0x1b)) << 80;
    QTest::newRow("pairs") << u"\U0001F600"_s.repeated(200) << 80;
}

void TstFrameLine::line_isCutToTheWidth()
{
    QFETCH(QString, text);
    QFETCH(int, width);
    const QString shown = lineOf(message(7, u"gui"_s, u"printer"_s, text), width).chopped(1);
    const int bound = width > 0 ? width : FrameLines::DEFAULT_WIDTH;
    QVERIFY2(cellWidth(shown) <= bound && cellWidth(shown) >= bound - 2, qPrintable(shown));
    QVERIFY(shown.endsWith(QChar(0x2026)));
}

void TstFrameLine::longNames_stayWithinTheWidth()
{
    const QString name(100, u'n');
    for (const int width : {60, 80, 100}) {
        for (const SeenFrame& frame : {message(1234567, name, name, PRINT), reply(8, message(7, name, name, PRINT)),
                                       incident(7, Kind::Opened, name), incident(12345678, Kind::Closed, name)}) {
            const QString shown = lineOf(frame, width).chopped(1);
            QVERIFY2(cellWidth(shown) <= width, qPrintable(shown));
        }
    }
}

void TstFrameLine::texts_cannotControlTheTerminal()
{
    const QString evil = u"\x1b[2J\x9b\n\r\u202e\u200b\u2028\u2029"_s;
    QList<SeenFrame> frames{message(1, evil, evil, evil),
                            message(2, evil, evil, u"{\"cmd\":\"\\u001b[2J\",\"data\":{\"a\":\"\\u009b\"}}"_s),
                            request(3, evil, evil, {{evil, evil}}),
                            request(4, evil, u"saveState"_s, {{u"owner"_s, evil}, {u"state"_s, evil}}),
                            incident(5, Kind::Closed, evil),
                            incident(6, Kind::Bad, evil, evil),
                            incident(7, Kind::Gap, evil, evil),
                            refusal(8, request(3, evil, evil, {}), 5, evil)};
    frames.last().fault = evil;
    for (const auto detail : {FrameLines::OneLine, FrameLines::Full}) {
        FrameLines lines(Palette(), detail);
        for (const SeenFrame& frame : qAsConst(frames)) {
            const QString shown = lines.text(frame);
            for (const QChar character : shown) {
                const QChar::Category category = character.category();
                QVERIFY2(character == u'\n' || category != QChar::Other_Control, qPrintable(shown));
                QVERIFY2(category != QChar::Other_Format && category != QChar::Separator_Line
                             && category != QChar::Separator_Paragraph,
                         qPrintable(shown));
            }
            QVERIFY(detail == FrameLines::Full || shown.count(u'\n') == (frame.number == 1 ? 2 : 1));
        }
    }
}

void TstFrameLine::full_showsAllOfTheData()
{
    FrameLines lines(Palette(), FrameLines::Full, 60);
    const QString text = lines.text(message(7, u"gui"_s, u"printer"_s, PRINT));
    QCOMPARE(text,
             u"2026-03-01\n"
             "10:11:12.345     #7  gui -> printer  send print\n"
             "    {\n"
             "        \"UID\": \"uid\",\n"
             "        \"message\": {\n"
             "            \"cmd\": \"print\",\n"
             "            \"data\": {\n"
             "                \"copies\": 1\n"
             "            }\n"
             "        },\n"
             "        \"reciever\": \"printer\",\n"
             "        \"sender\": \"gui\"\n"
             "    }\n"_s);
}

void TstFrameLine::colours_markErrors()
{
    FrameLines lines(Palette(true));
    const SeenFrame load = request(7, u"gui"_s, u"loadState"_s, {});
    QVERIFY(!lines.text(load).contains(u"\x1b[31m"_s));
    QVERIFY(lines.text(refusal(8, load, 5, u"no"_s)).contains(u"\x1b[31m<- #7 0.8 ms error 5 no: loadState\x1b[0m"_s));
    QVERIFY(lines.text(incident(9, Kind::Gap, QString(), u"3"_s)).contains(u"\x1b[33mgap: 3\x1b[0m"_s));
}

QTEST_APPLESS_MAIN(TstFrameLine)
#include "tst_frameline.moc"
