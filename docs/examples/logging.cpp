#include <cstdio>

#include "logging/logger.h"

int main() {
    using namespace VeloLogger;
    CVeloLogger logger("example.log");  // WARN and more severe, until told otherwise
    logger.Error("bad magic number 0x%x", 0xa1b23c4dU);
    logger.Info("not admitted yet");
    logger.SetLevel(Level::kInfo);
    *logger.Stream(Level::kInfo) << "pkts=" << 120 << ",bytes=" << 73450;
    std::printf("%s\n", logger.FileName().c_str());
    std::remove("example.log");
}
// Output:
// example.log
