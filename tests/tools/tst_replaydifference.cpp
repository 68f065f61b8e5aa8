#include "replaydifference.h"

#include "literals.h"

#include <QTest>

using namespace tarvexctl;

namespace {

/// "path: recorded/came" of each difference.
QStringList found(const QVariantMap& recorded, const QVariantMap& came, Strictness strictness = Strictness::Ordinary)
{
    QStringList texts;
    const QList<ReplayDifference> all = replayDifferences(QString(), recorded, came, strictness);
    for (const ReplayDifference& difference : all) {
        texts.append(u"%1: %2/%3"_s.arg(difference.path, difference.recorded.toString(), difference.came.toString()));
    }
    return texts;
}

} // namespace

class TstReplayDifference : public QObject
{
    Q_OBJECT
private Q_SLOTS:
    void values_areCompared_data();
    void values_areCompared();
    void volatileKeys_onlyWhenStrict();
    void words_nameFrameAndValues();
    void uids_areMappedBothWays();
};

void TstReplayDifference::values_areCompared_data()
{
    QTest::addColumn<QVariant>("recorded");
    QTest::addColumn<QVariant>("came");
    QTest::addColumn<QStringList>("differences");
    QTest::newRow("same") << QVariant(u"a"_s) << QVariant(u"a"_s) << QStringList();
    QTest::newRow("other") << QVariant(u"a"_s) << QVariant(u"b"_s) << QStringList{u"v: a/b"_s};
    QTest::newRow("number, other type") << QVariant(5) << QVariant(5.0) << QStringList();
    QTest::newRow("number and text") << QVariant(5) << QVariant(u"5"_s) << QStringList{u"v: 5/5"_s};
    QTest::newRow("missing") << QVariant(5) << QVariant() << QStringList{u"v: 5/"_s};
    QTest::newRow("list") << QVariant(QVariantList{1, 2}) << QVariant(QVariantList{1, 3, 4})
                          << QStringList{u"v[1]: 2/3"_s, u"v[2]: /4"_s};
    QTest::newRow("object") << QVariant(QVariantMap{{u"a"_s, 1}}) << QVariant(QVariantMap{{u"a"_s, 2}})
                            << QStringList{u"v.a: 1/2"_s};
    QTest::newRow("objects in texts") << QVariant(u"{\"a\":1,\"b\":2}"_s) << QVariant(u"{\"b\":2, \"a\":1}"_s)
                                      << QStringList();
    QTest::newRow("date in a text") << QVariant(u"{\"a\":1,\"date\":\"x\"}"_s)
                                    << QVariant(u"{\"a\":2,\"date\":\"y\"}"_s) << QStringList{u"v.a: 1/2"_s};
    QTest::newRow("broken object") << QVariant(u"{\"a\":"_s) << QVariant(u"{\"a\""_s)
                                   << QStringList{u"v: {\"a\":/{\"a\""_s};
}

void TstReplayDifference::values_areCompared()
{
    QFETCH(QVariant, recorded);
    QFETCH(QVariant, came);
    QVariantMap left;
    QVariantMap right;
    if (recorded.isValid()) {
        left.insert(u"v"_s, recorded);
    }
    if (came.isValid()) {
        right.insert(u"v"_s, came);
    }
    QTEST(found(left, right), "differences");
}

void TstReplayDifference::volatileKeys_onlyWhenStrict()
{
    const QVariantMap recorded{{u"date"_s, 1}, {u"UID"_s, 1}, {u"uid"_s, 1}, {u"owner"_s, u"a"_s}};
    const QVariantMap came{{u"date"_s, 2}, {u"UID"_s, 2}, {u"uid"_s, 2}, {u"owner"_s, u"a"_s}};
    QCOMPARE(found(recorded, came), QStringList());
    QCOMPARE(found(recorded, came, Strictness::Strict), (QStringList{u"UID: 1/2"_s, u"date: 1/2"_s, u"uid: 1/2"_s}));
}

void TstReplayDifference::words_nameFrameAndValues()
{
    ReplayDifference difference;
    difference.number = 7;
    difference.client = u"gui"_s;
    difference.what = u"reply to loadState"_s;
    difference.path = u"data.state"_s;
    difference.recorded = u"open"_s;
    QCOMPARE(difference.words(), u"#7  gui  reply to loadState: data.state: \"open\" was recorded, nothing came"_s);
}

void TstReplayDifference::uids_areMappedBothWays()
{
    UidMap uids;
    const QVariantMap recorded{{u"UID"_s, u"old"_s}, {u"message"_s, u"old"_s}};
    const QVariantMap sent = uids.withFresh(recorded);
    QVERIFY(sent.value(u"UID"_s).toString() != u"old"_s && !sent.value(u"UID"_s).toString().isEmpty());
    QCOMPARE(sent.value(u"message"_s).toString(), u"old"_s);
    QCOMPARE(uids.withFresh(recorded), sent);
    QCOMPARE(uids.withRecorded(sent), recorded);
    QCOMPARE(uids.withRecorded({{u"uid"_s, sent.value(u"UID"_s)}}), (QVariantMap{{u"uid"_s, u"old"_s}}));
    QCOMPARE(uids.withRecorded({{u"UID"_s, u"stranger"_s}}), (QVariantMap{{u"UID"_s, u"stranger"_s}}));
}

QTEST_APPLESS_MAIN(TstReplayDifference)
#include "tst_replaydifference.moc"
