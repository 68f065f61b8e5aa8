#include "recording.h"

#include "failure.h"
#include "someframes.h"

#include <QBuffer>
#include <QTemporaryDir>
#include <QTest>

using namespace someframes;
using namespace tarvexctl;

namespace {

const QByteArray HEADER = R"({"tarvexRecording":1,"version":"5.0.28"})"
                          "\n";
const QByteArray FRAME = R"({"connection":1,"data":{},"direction":"in","kind":"request","number":1,)"
                         R"("operation":"loadState","port":"query","time":"2026-03-01T10:11:12.345678Z"})"
                         "\n";

Recording read(QByteArray text)
{
    QBuffer buffer(&text);
    buffer.open(QIODevice::ReadOnly);
    return readRecording(buffer);
}

/// The words of the failure; empty when there is none.
QString failureOf(const QByteArray& text)
{
    try {
        read(text);
    } catch (const Failure& failure) {
        return failure.status() == WrongUse ? failure.words() : u"another status"_s;
    }
    return QString();
}

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class TstRecording : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void whatIsWritten_isRead();
    void existingFile_isKept();
    void existingFile_isReplacedWhenWanted();
    void folderMissing_isTold();
    void deviceFull_isTold();
    void wrong_isRefusedWithItsLine_data();
    void wrong_isRefusedWithItsLine();
    void gapWithoutNumber_isTaken();
    void unreadable_isTold();
    void lastLineCut_isLeftOut();
    void lastLineWithoutEnd_isTaken();
    void emptyLines_areSkipped();
};

void TstRecording::whatIsWritten_isRead()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.jsonl"_s);
    const SeenFrame send = message(1, u"gui"_s, u"printer"_s, u"two\nlines"_s);
    {
        RecordingWriter writer(path, RecordingWriter::Kept);
        writer.writeHeader(u"development bus"_s, {u"gui"_s, u"printer"_s});
        writer.write(send);
        writer.write(reply(2, send));
        // What is there at this moment is what a kill would leave.
        QCOMPARE(contentOf(path).count('\n'), 3);
        writer.writeEnd(u"interrupted"_s);
        QCOMPARE(writer.frameCount(), 2);
    }
    QCOMPARE(failureOf(contentOf(path)), QString());
    const Recording recording = readRecording(path);
    QCOMPARE(recording.header.value(u"clients"_s).toStringList(), (QStringList{u"gui"_s, u"printer"_s}));
    QCOMPARE(recording.header.value(u"source"_s).toString(), u"development bus"_s);
    QCOMPARE(recording.frames.size(), 2);
    QCOMPARE(recording.frames.at(0).line, 2);
    QCOMPARE(recording.frames.at(0).frame.toVariantMap(), send.toVariantMap());
    QCOMPARE(recording.frames.at(1).frame.toVariantMap(), reply(2, send).toVariantMap());
    QVERIFY(!recording.isCut);
}

void TstRecording::existingFile_isKept()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.jsonl"_s);
    RecordingWriter(path, RecordingWriter::Kept).writeHeader(u"capture"_s, {});
    const QByteArray before = contentOf(path);
    QVERIFY(!before.isEmpty());
    QVERIFY_EXCEPTION_THROWN(RecordingWriter(path, RecordingWriter::Kept), Failure);
    QCOMPARE(contentOf(path), before);
}

void TstRecording::existingFile_isReplacedWhenWanted()
{
    const QTemporaryDir folder;
    const QString path = folder.filePath(u"a.jsonl"_s);
    RecordingWriter(path, RecordingWriter::Kept).writeEnd(u"a long reason that must not stay behind"_s);
    RecordingWriter(path, RecordingWriter::Replaced).writeHeader(u"capture"_s, {});
    QCOMPARE(contentOf(path).count('\n'), 1);
    QVERIFY(contentOf(path).startsWith('{') && !contentOf(path).contains("reason"));
}

void TstRecording::folderMissing_isTold()
{
    try {
        const RecordingWriter writer(u"/nowhere/a.jsonl"_s, RecordingWriter::Kept);
        QFAIL("it was opened");
    } catch (const Failure& failure) {
        QCOMPARE(failure.words(), u"cannot write /nowhere/a.jsonl: No such file or directory"_s);
        QCOMPARE(failure.status(), WrongUse);
    }
}

void TstRecording::deviceFull_isTold()
{
    try {
        RecordingWriter(u"/dev/full"_s, RecordingWriter::Replaced).writeHeader(u"capture"_s, {});
        QFAIL("it was written");
    } catch (const Failure& failure) {
        QCOMPARE(failure.words(), u"cannot write to /dev/full: No space left on device"_s);
        QCOMPARE(failure.status(), Refused);
    }
}

void TstRecording::wrong_isRefusedWithItsLine_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("words");
    QTest::newRow("empty") << QByteArray() << u"the recording is empty"_s;
    QTest::newRow("no JSON") << QByteArray("hello\n") << u"line 1: this is no JSON object: illegal value"_s;
    QTest::newRow("no header") << FRAME << u"line 1: this is no recording: "_s;
    QTest::newRow("other version") << QByteArray("{\"tarvexRecording\":2}\n")
                                   << u"line 1: the recording has the version 2; this program reads version 1"_s;
    QTest::newRow("version is a text") << QByteArray("{\"tarvexRecording\":\"1\"}\n")
                                       << u"line 1: the recording has the version \"1\""_s;
    QTest::newRow("broken line") << HEADER + FRAME + "{\"kind\":\n" + FRAME << u"line 3: this is no JSON object: "_s;
    QTest::newRow("list") << HEADER + "[]\n" << u"line 2: this is no JSON object: no JSON object"_s;
    QTest::newRow("no frame") << HEADER + FRAME + FRAME + "{\"kind\":\"request\"}\n" << u"line 4: this is no frame: "_s;
    QTest::newRow("other kind") << HEADER + QByteArray(FRAME).replace("\"request\"", "\"dance\"")
                                << u"line 2: this is no frame: "_s;
    QTest::newRow("no connection") << HEADER + QByteArray(FRAME).replace("\"connection\":1", "\"connection\":0")
                                   << u"line 2: a frame whose \"connection\" is no whole number from 1 "_s;
    QTest::newRow("no number") << HEADER + FRAME + QByteArray(FRAME).replace("\"number\":1,", "")
                               << u"line 3: a frame whose \"number\" is no whole number from 1 "_s;
    const QList<QByteArray> wrongNumbers{"\"number\":0", "\"number\":1.5", "\"number\":\"1\"", "\"number\":-1"};
    for (const QByteArray& wrong : wrongNumbers) {
        QTest::newRow(wrong.constData()) << HEADER + QByteArray(FRAME).replace("\"number\":1", wrong)
                                         << u"line 2: a frame whose \"number\" is no whole number from 1 "_s;
    }
    const QList<QPair<QByteArray, QString>> wrongValues{
        {"\"answers\":\"1\"", u"\"answers\" is no whole number from 0 "_s},
        {"\"answers\":-1", u"\"answers\" is no whole number from 0 "_s},
        {"\"code\":\"0\"", u"\"code\" is no whole number from 0 to 65535: \"0\""_s},
        {"\"code\":65536", u"\"code\" is no whole number from 0 to 65535: 65536"_s},
        {"\"client\":7", u"\"client\" is no text"_s}};
    for (const auto& wrong : wrongValues) {
        QTest::newRow(wrong.first.constData())
            << HEADER + QByteArray(FRAME).replace("\"data\"", wrong.first + ",\"data\"")
            << u"line 2: a frame whose "_s + wrong.second;
    }
    QTest::newRow("no operation") << HEADER + QByteArray(FRAME).replace("loadState", "")
                                  << u"line 2: a request without \"operation\""_s;
    QTest::newRow("data is a list") << HEADER + QByteArray(FRAME).replace("{}", "[]")
                                    << u"line 2: a frame without \"data\""_s;
}

void TstRecording::wrong_isRefusedWithItsLine()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, words);
    const QString told = failureOf(text);
    QVERIFY2(!told.isEmpty() && told.startsWith(words), qPrintable(told));
}

void TstRecording::gapWithoutNumber_isTaken()
{
    const QByteArray gap = R"({"kind":"gap","number":0,"port":"query","problem":"3 frames were lost",)"
                           R"("time":"2026-03-01T10:11:12.345678Z"})"
                           "\n";
    QCOMPARE(read(HEADER + gap + FRAME).frames.size(), 2);
}

void TstRecording::unreadable_isTold()
{
    try {
        readRecording(u"/proc/self/mem"_s); // it opens, and the first page cannot be read
        QFAIL("it was read");
    } catch (const Failure& failure) {
        QCOMPARE(failure.words(), u"cannot read /proc/self/mem: Input/output error"_s);
        QCOMPARE(failure.status(), WrongUse);
    }
}

void TstRecording::lastLineCut_isLeftOut()
{
    const Recording recording = read(HEADER + FRAME + FRAME.left(40));
    QCOMPARE(recording.frames.size(), 1);
    QVERIFY(recording.isCut);
}

void TstRecording::lastLineWithoutEnd_isTaken()
{
    const Recording recording = read(HEADER + FRAME + FRAME.trimmed());
    QCOMPARE(recording.frames.size(), 2);
    QVERIFY(!recording.isCut);
}

void TstRecording::emptyLines_areSkipped()
{
    QCOMPARE(read(HEADER + "\n" + FRAME + "\r\n" + FRAME).frames.size(), 2);
}

QTEST_APPLESS_MAIN(TstRecording)
#include "tst_recording.moc"
