#include <cstdint>
#include <iostream>
#include <sstream>
#include <string>

#include "safe/HashTable.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

struct RaiseCase {
    void (*raise)();
    std::string message;
    std::string err = "";  // when standard error differs from the message and a line end
};

// Integers read the same on standard error and in the message; a double does not.
// clang-format off
const RaiseCase kRaises[] = {
    {[] { VELTRA_RAISE("n=", int32_t{-1}, ' ', INT64_C(5000000000), String(" s")); }, "n=-1 5000000000 s"},
    {[] { VELTRA_RAISE("p=", 0.25, " q=", 1e20); }, "p=0.250000 q=100000000000000000000.000000",
     "p=0.25 q=1e+20\n"},
    {[] { (void)String("abc")[4]; }, "String index out of bounds"},
    {[] { (void)String("abc").Left(4); },
     "Insufficient string length for Left operation. String: abc requested count: 4"},
    {[] { (void)String("abc").Right(9); },
     "Insufficient string length for Right operation. String: abc requested count: 9"},
    {[] { (void)String("abc").BeforeFirst("="); }, "String: abc does not contain: ="},
    {[] { (void)String("ab b").RemoveFromFront("b"); }, "Cannot remove: b from the front of: ab b"},
    {[] { (void)String("4x").ToInteger(); }, "Cannot convert string: >4x< to integer"},
    {[] { (void)String("a").GetTokens(",;", false); },
     "Cannot return tokens that include empty for more than one delimiters"},
    {[] { std::istringstream in(std::string(1024, 'x')); String line; String::ReadLine(in, line); },
     "Line is longer than 1023 bytes"},
    // An empty Vector says so before any range check.
    {[] { (void)Vector<String>()[-1]; }, "Cannot access element of empty Vector"},
    {[] { Vector<String> v; v.Add("a"); (void)v.Get(1); }, "Index: 1 out of Vector bounds 0-0"},
    {[] { Vector<String> v; v.Add("a"); v.Add("b"); v.RemoveAt(-1); }, "Index: -1 out of Vector bounds 0-1"},
    {[] { Vector<String>().Remove("x"); }, "Cannot remove item from Vector. Item was not found"},
    {[] { HashTable<Long> t; t.Add("a", Long()); (void)t.Get("A"); }, "Hashtable cannot find key: A"},
    {[] { (void)Ptr<Long>()->m_value; }, "Pointer is NULL"},
    {[] { Long* o = NewObject<Long>(); Ptr<Long> p(o); delete o; (void)p->m_value; },
     "Tried to access deleted object"},
    // Refused through a Ptr reference too.
    {[] { AutoPtr<Long> owner(NewObject<Long>()); Long other; static_cast<Ptr<Long>&>(owner) = &other; },
     "Operator= is disallowed for AutoPtr"},
};
// clang-format on

TEST(TrapException, FailuresWriteTheirTextOnceBeforeRaising)
{
    for (const auto& row : kRaises) {
        SCOPED_TRACE(row.message);
        test::StreamCapture err(std::cerr);
        std::string errSeenByCatcher = "(nothing raised)";
        try {
            row.raise();
        } catch (const TrapException& e) {
            errSeenByCatcher = err.Text();
            EXPECT_EQ(e.GetMessage(), row.message);
        }
        EXPECT_EQ(errSeenByCatcher, row.err.empty() ? row.message + "\n" : row.err);
    }
}

}  // namespace
}  // namespace veltra
