#include "growth.h"

#include "require.h"
#include "sampledata.h"

#include <QJsonDocument>

#include <map>
#include <utility>

namespace growth {

std::string name(const char* series, int size)
{
    return std::string("growth/") + series + '/' + std::to_string(size);
}

std::vector<int> sizes(std::initializer_list<int> sizes, int small)
{
    const bool isAll = qEnvironmentVariableIsSet("TARVEX_BENCH_LARGE");
    std::vector<int> chosen;
    for (const int size : sizes) {
        if (isAll || size <= small) {
            chosen.push_back(size);
        }
    }
    return chosen;
}

QString commandText(int bytes, MakeData makeData)
{
    static std::map<std::pair<int, MakeData>, QString> texts;
    QString& text = texts[{bytes, makeData}];
    if (text.isEmpty()) {
        const QString command = QStringLiteral("update");
        const QVariantMap envelope = sampledata::envelope(command, makeData(command, bytes));
        const QByteArray json = QJsonDocument::fromVariant(envelope).toJson(QJsonDocument::Compact);
        require(json.size() == bytes, "a text has not the size it is named after");
        text = QString::fromUtf8(json);
    }
    return text;
}

} // namespace growth

void registerGrowthBenchmarks()
{
    growth::registerPayload();
    growth::registerRecords();
#ifdef DEVBUS
    growth::registerBus();
#endif
}
