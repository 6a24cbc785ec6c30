#include "velora/output/pcapng_sink.h"

#include <algorithm>
#include <utility>

#include "velora/output/pcapng_encoder.h"

namespace velora::output {

std::size_t PcapNgSink::HashOfKey::operator()(const Key& key) const {
    constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;  // spreads small numbers over all bits
    return key.descriptionHash ^ ((std::uint64_t{key.source} << 32U | key.ordinal) * kOdd);
}

PcapNgSink::PcapNgSink(BlockWriter& writer, const OutputForm& form, std::vector<std::string> names,
                       Ledger& ledger)
    : m_Writer(writer),
      m_SnapLen(form.snapLen),
      m_Names(std::move(names)),
      m_Ledger(ledger),
      m_NamedLately(m_Names.size()) {
    // Should it fail, so does the next record, and the end tells why.
    static_cast<void>(BeginSection());
}

bool PcapNgSink::BeginSection() {
    m_Section += 1;
    m_Numbers.clear();
    return m_Writer.Append(PcapNgEncoder::SectionHeader());
}

// Gives its number.
std::uint32_t PcapNgSink::Describe(std::uint32_t source, const capture::Interface& interface) {
    const auto number = static_cast<std::uint32_t>(m_Numbers.size());
    m_Numbers.emplace(Key{interface.descriptionHash, interface.ordinal, source}, number);
    const std::string_view name = m_Names[source].empty() ? interface.name : m_Names[source];
    const std::uint32_t snapLen = m_SnapLen != 0 ? m_SnapLen : interface.snapLen;
    const auto block =
        PcapNgEncoder::InterfaceDescription(interface.linkType, snapLen, name, interface.fcsLength);
    static_cast<void>(m_Writer.Append(*block));
    return number;
}

std::uint32_t PcapNgSink::NumberOf(std::uint32_t source, const capture::Interface& interface) {
    NamedLately& lately = m_NamedLately[source];
    Named& named = lately[interface.number % lately.size()];
    if (named.section == m_Section && named.descriptionHash == interface.descriptionHash &&
        named.ordinal == interface.ordinal) {
        return named.number;
    }
    const auto known = m_Numbers.find(Key{interface.descriptionHash, interface.ordinal, source});
    std::uint32_t number = 0;
    if (known != m_Numbers.end()) {
        number = known->second;
    } else {
        if (m_Numbers.size() == kMostInterfaces) {
            static_cast<void>(BeginSection());
        }
        number = Describe(source, interface);
    }
    named = {m_Section, interface.ordinal, interface.descriptionHash, number};
    return number;
}

bool PcapNgSink::Put(const Item& item, std::span<const std::uint8_t> kept) {
    const auto length = static_cast<std::uint32_t>(kept.size());
    const std::uint32_t interface = NumberOf(item.source, *item.record->interface);
    const TimeChange change = PcapNgEncoder::EncodeHead(m_Writer.Reserve(), item.time, interface,
                                                        length, item.record->originalLength);
    m_Ledger.CountWritten(item, change);
    return m_Writer.Commit(PcapNgEncoder::kHeadSize) && m_Writer.Append(kept) &&
           m_Writer.Commit(PcapNgEncoder::EncodeTail(m_Writer.Reserve(), length));
}

bool PcapNgSink::Put(const CarriedBlock& carried) {
    for (const capture::DescribedInterfaces& described : carried.interfaces) {
        capture::Interface interface = described.first;
        for (std::uint32_t left = described.count; left > 0; --left, ++interface.ordinal) {
            const Key key{interface.descriptionHash, interface.ordinal, carried.source};
            if (m_Numbers.contains(key) || !PcapNgEncoder::Holds(interface.linkType)) {
                continue;
            }
            if (m_Section > 1 || m_Numbers.size() == kMostInterfaces) {
                // Those that a packet names are described with it.
                m_Ledger.Of(carried.source).lacksInterfaces = true;
                break;
            }
            Describe(carried.source, interface);
        }
    }
    return true;
}

}  // namespace velora::output
