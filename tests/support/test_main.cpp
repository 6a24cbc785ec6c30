// The entry of the test programs whose process has a global logger: its file goes with it.

#include <gtest/gtest.h>
#include <unistd.h>

#include "velora/logging/logger.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    unlink(VeloLogger::GlobalLogger.FileName().c_str());
    return status;
}
