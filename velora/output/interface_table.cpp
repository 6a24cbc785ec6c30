#include "velora/output/interface_table.h"

#include "velora/output/pcapng_sink.h"

namespace velora::output {

const InterfaceTable::Known& InterfaceTable::Find(const Key& key,
                                                  const capture::Interface& interface) {
    if (const auto known = m_Known.find(key); known != m_Known.end()) {
        return *known;
    }
    if (m_Known.size() == PcapNgSink::kMostInterfaces) {
        m_Lately.fill(nullptr);
        m_Known.clear();
        m_Names.clear();
    }
    Key kept = key;
    capture::Interface own = interface;
    std::get<std::string_view>(kept) = own.name = m_Names.emplace_front(interface.name);
    own.snapLen = std::get<4>(key);
    own.number = static_cast<std::uint32_t>(m_Count);
    own.descriptionHash = m_Count++;
    own.ordinal = 0;
    return *m_Known.emplace(kept, own).first;
}

}  // namespace velora::output
