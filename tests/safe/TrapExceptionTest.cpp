#include <cstdint>
#include <iostream>
#include <string>

#include "safe/SmartString.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

// The pieces go to standard error, then into the message: integers read the same in both, a double
// in the stream's format on standard error and with "%lf" in the message.
TEST(TrapException, RaiseWritesThePiecesThenThrowsThem)
{
    test::Outcome integers =
        test::Run([] { VELTRA_RAISE("n=", int32_t{-1}, ' ', INT64_C(5000000000), String(" s")); });
    EXPECT_EQ(integers.message, "n=-1 5000000000 s");
    EXPECT_EQ(integers.err, "n=-1 5000000000 s\n");
    test::Outcome doubles = test::Run([] { VELTRA_RAISE("p=", 0.25, " q=", 1e20); });
    EXPECT_EQ(doubles.message, "p=0.250000 q=100000000000000000000.000000");
    EXPECT_EQ(doubles.err, "p=0.25 q=1e+20\n");
}

}  // namespace
}  // namespace veltra
