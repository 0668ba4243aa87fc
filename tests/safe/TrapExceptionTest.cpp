#include <cstdint>
#include <iostream>
#include <string>

#include "safe/HashTable.h"
#include "safe/SmartString.h"
#include "safe/TrapException.h"
#include "tests/support/TestSupport.h"

namespace veltra {
namespace {

using test::Outcome;
using test::StreamCapture;

struct RaiseCase {
    const char* name;
    void (*raise)();
    const char* err;
    const char* message;
};

// Integers read the same on standard error and in the message; a double does not.
const RaiseCase kRaises[] = {
    {"texts and integers", [] { VELTRA_RAISE("Index: ", int32_t{-1}, " of ", INT64_C(5000000000)); },
     "Index: -1 of 5000000000\n", "Index: -1 of 5000000000"},
    {"character and String", [] { VELTRA_RAISE('H', String("=a")); }, "H=a\n", "H=a"},
    {"doubles", [] { VELTRA_RAISE("p=", 0.25, " q=", 1e20); }, "p=0.25 q=1e+20\n",
     "p=0.250000 q=100000000000000000000.000000"},
};

TEST(TrapException, RaiseWritesTheMessageOnceBeforeThrowing)
{
    for (const auto& row : kRaises) {
        SCOPED_TRACE(row.name);
        StreamCapture err(std::cerr);
        std::string errSeenByCatcher;
        try {
            row.raise();
            ADD_FAILURE() << "nothing raised";
        } catch (const TrapException& e) {
            errSeenByCatcher = err.Text();
            EXPECT_EQ(TrapException(e).GetMessage(), row.message);
        }
        EXPECT_EQ(errSeenByCatcher, row.err);
    }
}

// A clean-up failure while unwinding from an earlier one is reported and swallowed by the
// destructor; the first failure still reaches its catcher.
TEST(TrapException, CleanUpFailureDuringUnwindingIsReportedAndSwallowed)
{
    Ptr<Vector<String>> keys;
    Outcome out = test::Run([&] {
        HashTable<Long> table;
        table.m_deleteItems = true;
        table.Add("a", Long(1));
        keys = table.GetKeys();
        keys->Add("ghost");  // a key without an entry: deleting the items fails
        VELTRA_RAISE("first failure");
    });
    EXPECT_TRUE(out.raised);
    EXPECT_EQ(out.message, "first failure");
    EXPECT_EQ(out.err,
              "first failure\n"
              "Hashtable cannot find key: ghost\n"
              "Failed to delete item with key: ghost from HashTable\n"
              "ERROR: Exception in HashTable dtor\n");
    // The failed destructor left its key list behind.
    delete keys.GetRaw();
}

}  // namespace
}  // namespace veltra
