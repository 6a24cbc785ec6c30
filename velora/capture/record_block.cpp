// What a framer writes over the headers of a file, in the machine's byte order:
//
//     classic record            packet block             simple packet block
//     0  time, ns (8)           0  distance (4)          0  distance, top bit set (4)
//     8  captured length (4)    4  interface (4)         4  captured length (4)
//     12 original length (4)    8  (as read)             8  original length (4)
//     16 or 24 data             12 time, ns (8)          12 data
//                               20 captured length (4)
//                               24 original length (4)
//                               28 data
//
// The distance is that to the next record, over whatever stands between. A simple packet block is
// too small for all that is to be known of it: its time and interface stand in a list beside the
// block, one entry for as many of them as have the same.

#include "velora/capture/record_block.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace velora::capture {

void RecordBlock::Clear(std::size_t size) {
    recordsRead = recordsLeftOut = stepsBack = 0;
    leftOutLinkType = 0;
    extras = {};
    described.clear();
    problem.reset();
    isLast = false;
    m_First = m_Last = 0;
    m_Chained = 0;
    m_IsMixed = m_HasIndex = false;
    m_Index.clear();
    m_Simple.clear();
    m_Interfaces.clear();
    m_Names.clear();
    if (m_Size != size) {
        m_Size = 0;
        m_Bytes.reset();
        Grow(size);
    }
}

void RecordBlock::Grow(std::size_t size) {
    if (size <= m_Size) {
        return;
    }
    // This moves large blocks without copying them, so that none is there twice.
    void* const bytes = std::realloc(m_Bytes.get(), size);
    if (bytes == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(m_Bytes.release());
    m_Bytes.reset(static_cast<std::uint8_t*>(bytes));
    m_Size = size;
}

void RecordBlock::Keep(const InterfaceName& name) {
    if (name) {
        m_Names.push_back(name);
    }
}

std::uint32_t RecordBlock::AddInterface(Interface interface, const InterfaceName& name) {
    Keep(name);
    interface.name = name ? std::string_view(*name) : std::string_view();
    m_Interfaces.push_back(interface);
    return static_cast<std::uint32_t>(m_Interfaces.size() - 1);
}

void RecordBlock::NoteRecord(std::size_t offset, std::int64_t time) {
    if (m_Chained == 0) {
        m_First = static_cast<std::uint32_t>(offset);
        m_Earliest = m_Latest = time;
    }
    m_Last = static_cast<std::uint32_t>(offset);
    m_Chained += 1;
    m_IsMixed |= time < m_Latest;
    m_Earliest = std::min(m_Earliest, time);
    m_Latest = std::max(m_Latest, time);
}

// The record before, if any, learns how far it is to the one at `offset`.
void RecordBlock::LinkFrom(std::size_t offset) {
    m_Layout = Layout::kPcapNg;
    if (m_Chained > 0) {
        const std::uint32_t flag = Get<std::uint32_t>(m_Last) & kIsSimple;
        Put(m_Last, flag | (static_cast<std::uint32_t>(offset) - m_Last));
    }
}

void RecordBlock::AddClassic(std::size_t offset, std::size_t headerSize, std::int64_t time,
                             std::uint32_t capturedLength, std::uint32_t originalLength) {
    m_Layout = Layout::kClassic;
    m_HeaderSize = static_cast<std::uint32_t>(headerSize);
    Put(offset, time);
    Put(offset + 8, capturedLength);
    Put(offset + 12, originalLength);
    NoteRecord(offset, time);
}

void RecordBlock::AddPacketBlock(std::size_t offset, std::int64_t time,
                                 std::uint32_t capturedLength, std::uint32_t originalLength,
                                 std::uint32_t interface) {
    LinkFrom(offset);
    Put(offset, std::uint32_t{0});
    Put(offset + 4, interface);
    Put(offset + 12, time);
    Put(offset + 20, capturedLength);
    Put(offset + 24, originalLength);
    NoteRecord(offset, time);
}

void RecordBlock::AddSimplePacketBlock(std::size_t offset, std::int64_t time,
                                       std::uint32_t capturedLength, std::uint32_t originalLength,
                                       std::uint32_t interface) {
    LinkFrom(offset);
    Put(offset, kIsSimple);
    Put(offset + 4, capturedLength);
    Put(offset + 8, originalLength);
    if (m_Simple.empty() || m_Simple.back().time != time ||
        m_Simple.back().interface != interface) {
        m_Simple.push_back({static_cast<std::uint32_t>(offset), interface, time});
    }
    NoteRecord(offset, time);
}

void RecordBlock::LoadSimple(std::uint32_t offset, Record& record) const {
    const auto behind = std::ranges::upper_bound(m_Simple, offset, {}, &SimplePacket::offset);
    const SimplePacket& packet = *std::prev(behind);
    record = {packet.time, Get<std::uint32_t>(offset + 4), Get<std::uint32_t>(offset + 8),
              m_Interfaces.data() + packet.interface, m_Bytes.get() + offset + 12};
}

void RecordBlock::Index(bool byTime, std::int64_t from, std::int64_t last) {
    m_HasIndex = true;  // should memory run out, it is empty
    m_Index.clear();
    m_Index.reserve(m_Chained);
    bool isFirst = true;
    std::uint32_t offset = m_First;
    for (std::size_t left = m_Chained; left > 0; --left) {
        const Record record = Load(offset);
        if (record.time >= from && record.time <= last) {
            m_Index.push_back(offset);
            m_Earliest = isFirst ? record.time : std::min(m_Earliest, record.time);
            m_Latest = isFirst ? record.time : std::max(m_Latest, record.time);
            isFirst = false;
        }
        offset = Behind(offset, record);
    }
    if (byTime) {
        // Offsets grow with the order of the file, so equal times need no stable sort, which would
        // ask for memory.
        std::ranges::sort(m_Index, [this](std::uint32_t one, std::uint32_t other) {
            const std::int64_t oneTime = Load(one).time;
            const std::int64_t otherTime = Load(other).time;
            return oneTime != otherTime ? oneTime < otherTime : one < other;
        });
    }
}

}  // namespace velora::capture
