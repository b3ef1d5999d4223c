#include <gtest/gtest.h>

#include "tests/torture/arguments.h"

// A program of tests that is its own child, as zv_torture is.
int main(int count, char** words)
{
    using namespace zv_torture;
    if (count > 1 && std::string(words[1]) == "--child") {
        Arguments const arguments = parse(count, words);
        run_child(arguments.child, arguments.orders, arguments.notes, arguments.share);
    }
    testing::InitGoogleTest(&count, words);
    return RUN_ALL_TESTS();
}
