// The five addresses that sent the most bytes in the captures that are given.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <unordered_map>
#include <utility>
#include <vector>

#include <velora/capture/capture_reader.h>
#include <velora/packet/packet_view.h>

using velora::packet::IpAddress;
using velora::packet::PacketView;

int main(int argc, char** argv) {
    std::unordered_map<IpAddress, std::uint64_t> sent;
    for (int index = 1; index < argc; ++index) {
        velora::capture::CaptureReader reader;
        if (const auto problem = reader.Open(argv[index])) {
            std::cerr << argv[index] << ": " << problem->text << "\n";
            return 1;
        }
        for (const velora::capture::Record& record : reader) {
            if (const auto packet = PacketView::Of(record)) {
                sent[packet->source] += record.originalLength;
            }
        }
        if (const auto& problem = reader.GetProblem()) {
            std::cerr << argv[index] << ": " << problem->text << "\n";  // what precedes it counts
        }
    }
    std::vector<std::pair<std::uint64_t, IpAddress>> talkers;
    for (const auto& [address, bytes] : sent) {
        talkers.emplace_back(bytes, address);
    }
    std::sort(talkers.rbegin(), talkers.rend());
    talkers.resize(std::min<std::size_t>(talkers.size(), 5));
    for (const auto& [bytes, address] : talkers) {
        std::cout << address.Text() << " sent " << bytes << " bytes\n";
    }
}
