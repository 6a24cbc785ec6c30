// Two styles of messages, into a file of one's own.
#include <cstdio>
#include <iostream>

#include <velora/logging/logger.h>
#include <velora/utils/file_contents.h>

int main() {
    namespace Level = VeloLogger::Level;
    VeloLogger::CVeloLogger logger("collector.log");
    logger.Info("not admitted: a logger of a file takes WARN and more severe");
    logger.SetLevel(Level::kInfo);
    logger.Error("bad magic number 0x%x : %s", 0xfeedU, "a.pcap");
    *logger.Stream(Level::kInfo) << "pkts=" << 3 << " bytes=" << 180;

    const std::string text = MiscUtils::ReadWholeFile(logger.FileName());
    for (const char* message :
         {"not admitted", "ERROR bad magic number 0xfeed : a.pcap", "pkts=3 bytes=180"}) {
        std::cout << message << ": " << (text.find(message) != std::string::npos) << "\n";
    }
    return std::remove(logger.FileName().c_str());
}
