#include "crew.h"

#include <QTest>

void CrewTest::init()
{
    crew = std::make_unique<Crew>();
}

void CrewTest::cleanup()
{
    crew->end();
    crew->gate->open();
    for (size_t number = 0; number < crew->records.size(); ++number) {
        QTRY_VERIFY(crew->has(DELETED, number));
    }
    QCOMPARE(crew->strays(), QStringList());
    crew.reset();
}
