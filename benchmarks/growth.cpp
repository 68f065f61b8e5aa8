#include "growth.h"

#include <QtGlobal>

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

} // namespace growth

void registerGrowthBenchmarks()
{
    growth::registerPayload();
    growth::registerRecords();
    growth::registerBus();
}
