// InterfaceTable: tells the interfaces of an output apart by all that the output says of them, and
// by the source that their records come from. Programs make up interfaces by themselves, or change
// those that they have read: their place in memory and what they were once read as tell nothing.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <map>
#include <string>
#include <string_view>
#include <tuple>

#include "velora/capture/record.h"

namespace velora::output {

class InterfaceTable {
 public:
    // The output's own copy of the interface, with that snaplen: always the same for equal ones,
    // and one by which PcapNgSink tells it from all others. It lives until the next call. When
    // there are as many as a section holds, all are forgotten, as PcapNgSink does.
    [[nodiscard]] const capture::Interface& Of(std::uint32_t source,
                                               const capture::Interface& interface,
                                               std::uint32_t snapLen) {
        const Key key(interface.descriptionHash, interface.ordinal, source, interface.linkType,
                      snapLen, interface.fcsLength ? *interface.fcsLength : -1, interface.name);
        const Known*& lately = m_Lately[(source + interface.number) % m_Lately.size()];
        if (lately == nullptr || lately->first != key) [[unlikely]] {
            lately = &Find(key, interface);
        }
        return lately->second;
    }

 private:
    using Key = std::tuple<std::uint64_t, std::uint32_t, std::uint32_t, std::uint32_t,
                           std::uint32_t, int, std::string_view>;
    using Known = std::pair<const Key, capture::Interface>;

    const Known& Find(const Key& key, const capture::Interface& interface);

    std::map<Key, capture::Interface> m_Known;
    std::forward_list<std::string> m_Names;  // which the keys refer to
    std::uint64_t m_Count = 0;               // of all that there were
    std::array<const Known*, 8> m_Lately{};
};

}  // namespace velora::output
