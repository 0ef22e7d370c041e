// Test main: every test process runs in its own sandbox.
#include <gtest/gtest.h>

#include "sandbox.hpp"

int main(int argc, char** argv) {
    Sandbox::Enter({DSCHECK_SOURCE_DIR, DSCHECK_BINARY_DIR});
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
