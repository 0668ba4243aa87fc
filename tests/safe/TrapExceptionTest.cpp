// Raising, and the failures of the support library: each raises a TrapException whose message
// names what failed, and writes that message once to standard error.
#include <cstdint>

#include "safe/HashTable.h"
#include "tests/support/TestSupport.h"

namespace veltra::test {

// The pieces go to standard error, then into the message: integers read the same in both, a double
// in the stream's format on standard error and with "%lf" in the message.
TEST(TrapException, RaiseWritesThePiecesThenThrowsThem)
{
    const Outcome raised = test::Run(
        [] { VELTRA_RAISE("n=", int32_t{-1}, ' ', INT64_C(5000000000), String(" p="), 0.25, " q=", 1e20); });
    EXPECT_EQ(raised.message, "n=-1 5000000000 p=0.250000 q=100000000000000000000.000000");
    EXPECT_EQ(raised.err, "n=-1 5000000000 p=0.25 q=1e+20\n");
}

// Vector indexes are checked: an empty vector says so before any range check, a range names both
// ends. A duplicate key leaves the first item; lookups are exact (the lower-case t is the message's).
TEST(TrapException, SupportLibraryFailuresNameWhatFailed)
{
    const struct {
        void (*call)();
        const char* message;
    } rows[] = {
        // clang-format off
        {[] { (void)String("abc")[4]; }, "String index out of bounds"},
        {[] { (void)String("abc").Left(4); }, "Insufficient string length for Left operation. String: abc requested count: 4"},
        {[] { (void)String("abc").Right(9); }, "Insufficient string length for Right operation. String: abc requested count: 9"},
        {[] { (void)String("abc").BeforeFirst("="); }, "String: abc does not contain: ="},
        {[] { (void)String("ab b").RemoveFromFront("b"); }, "Cannot remove: b from the front of: ab b"},
        {[] { (void)String("4x").ToInteger(); }, "Cannot convert string: >4x< to integer"},
        {[] { (void)String("a").GetTokens(",;", false); }, "Cannot return tokens that include empty for more than one delimiters"},
        {[] { (void)Vector<String>()[-1]; }, "Cannot access element of empty Vector"},
        {[] { Vector<String> v; v.Add("a"); (void)v.Get(1); }, "Index: 1 out of Vector bounds 0-0"},
        {[] { Vector<String> v; v.Add("a"); v.Add("b"); v.RemoveAt(-1); }, "Index: -1 out of Vector bounds 0-1"},
        {[] { Vector<String>().Remove("x"); }, "Cannot remove item from Vector. Item was not found"},
        {[] { HashTable<Long> t; t.Add("a", Long(1)); t.Add("a", Long(2)); }, "HashTable cannot add duplicate key: a"},
        {[] { HashTable<Long> t; t.Add("a", Long()); (void)t.Get("A"); }, "Hashtable cannot find key: A"},
        {[] { (void)Ptr<Long>()->m_value; }, "Pointer is NULL"},
        {[] { Long* o = NewObject<Long>(); Ptr<Long> p(o); delete o; (void)p->m_value; }, "Tried to access deleted object"},
        // Refused through a Ptr reference too.
        {[] { AutoPtr<Long> owner(NewObject<Long>()); Long other; static_cast<Ptr<Long>&>(owner) = &other; },
         "Operator= is disallowed for AutoPtr"},
        // clang-format on
    };
    for (const auto& row : rows) EXPECT_TRUE(RaisesExactly(row.call, row.message)) << row.message;
    EXPECT_EQ(String("")[0], '\0');  // the terminating zero's index: an empty state name gives its zero
}

}  // namespace veltra::test
