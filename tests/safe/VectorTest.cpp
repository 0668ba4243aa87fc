#include "safe/SmartString.h"
#include "safe/Vector.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

// Indexes are checked: an empty vector says so before any range check, a range names both ends.
TEST(Vector, FailuresNameTheIndexAndTheRange)
{
    // clang-format off
    const test::Failure rows[] = {
        {[] { (void)Vector<String>()[-1]; }, "Cannot access element of empty Vector"},
        {[] { Vector<String> v; v.Add("a"); (void)v.Get(1); }, "Index: 1 out of Vector bounds 0-0"},
        {[] { Vector<String> v; v.Add("a"); v.Add("b"); v.RemoveAt(-1); }, "Index: -1 out of Vector bounds 0-1"},
        {[] { Vector<String>().Remove("x"); }, "Cannot remove item from Vector. Item was not found"},
    };
    // clang-format on
    test::ExpectFailures(rows);
}

}  // namespace
}  // namespace veltra
