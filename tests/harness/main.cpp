#include "harness/machine_test.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    BenchSetUp();
    int result = RUN_ALL_TESTS();
    MachineReset();
    return result;
}
