#include "codecbenchmark.h"
#include "commandbenchmark.h"
#include "exchangebenchmark.h"
#include "growth.h"
#include "logbenchmark.h"
#include "pushbenchmark.h"
#include "recordbenchmark.h"
#include "servicebenchmark.h"
#include "statebenchmark.h"

#include <QCoreApplication>
#include <QString>

#include <benchmark/benchmark.h>
#include <zlib.h>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv); // the sockets need it
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    benchmark::AddCustomContext("qt", qVersion());
    benchmark::AddCustomContext("zlib", zlibVersion());
    benchmark::AddCustomContext("compiler", TARVEX_COMPILER);
    registerCodecBenchmarks();
    registerExchangeBenchmarks();
    registerPushBenchmarks();
    registerLogBenchmarks();
    registerCommandBenchmarks();
    registerStateBenchmarks();
    registerRecordBenchmarks();
    registerServiceBenchmarks();
    registerGrowthBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
