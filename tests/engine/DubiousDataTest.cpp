#include <sstream>
#include <string>
#include <utility>

#include "engine/FieldClassifier.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {
namespace {

TEST(DubiousData, SortByDecreasingFigureOnlyWhenEveryKeyIsItsValue)
{
    DubiousDataList list;
    list.m_deleteItems = true;
    for (const auto& [value, figure] : {std::pair("A", 0.2), std::pair("B", 0.7), std::pair("C", 0.7),
                                        std::pair("D", 0.1), std::pair("E", 0.9)})
        list.Add(value, Ptr<DubiousData>(NewObject<DubiousData>(value, figure)));
    list.Get("E")->m_value = "F";
    EXPECT_TRUE(RaisesExactly(
        [&] { SortDubiousDataList(list); },
        "In DubiousDataLists, every key must be identical to item's value.\nKey:   >E<\nValue: >F<"));
    EXPECT_EQ(Entries(list), "[A 0.2][B 0.7][C 0.7][D 0.1][E 0.9]");  // unchanged
    list.Get("E")->m_value = "E";
    EXPECT_EQ(test::Run([&] { SortDubiousDataList(list); }).err, "");
    EXPECT_EQ(Entries(list), "[E 0.9][B 0.7][C 0.7][A 0.2][D 0.1]");  // equal figures keep their order
}

}  // namespace
}  // namespace veltra::test
