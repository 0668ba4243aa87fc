#include "safe/SmartString.h"
#include "tests/support/TestSupport.h"

TEST(Smoke, StringIndexRaises)
{
    veltra::String s("abc");
    EXPECT_TRUE(veltra::test::RaisesExactly([&] { (void)s[4]; }, "String index out of bounds"));
}
