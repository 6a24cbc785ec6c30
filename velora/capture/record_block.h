// RecordBlock: some whole records of one capture, next to each other in memory as they were read.
//
// Nothing is copied out: a framer looks at the bytes of a file where they lie and writes over the
// header of each record what it has made of it, in a form of our own (record_block.cpp draws it). A
// block whose times step back, or of which not every record is wanted, has besides an index of its
// records in the order in which they are to be taken.
//
// Example:
//     for (BlockCursor cursor(block); !cursor.AtEnd(); cursor.Advance()) {
//         Use(cursor.Current());
//     }
//
// A block belongs to one thread at a time. Records point into it, and live no longer than its
// content.

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "velora/capture/extras.h"
#include "velora/capture/problem.h"
#include "velora/capture/record.h"
#include "velora/utils/api.h"
#include "velora/utils/scope_guards.h"

namespace velora::capture {

// So many interfaces with equal descriptions, which stand one behind the other: their numbers and
// ordinals count on from those of the first.
struct DescribedInterfaces {
    Interface first;          // the one described first
    std::uint32_t count = 1;  // all of them
};

// Shared by all blocks with something from the interface; null where it has no name.
using InterfaceName = std::shared_ptr<const std::string>;

class VELORA_API RecordBlock {
 public:
    // No room and no records.
    RecordBlock() = default;

    // ---- What a reader of records asks.

    // Records in the block, in the order to take them, and the span of their times.
    [[nodiscard]] std::size_t Count() const { return m_HasIndex ? m_Index.size() : m_Chained; }
    [[nodiscard]] std::int64_t EarliestTime() const { return m_Earliest; }
    [[nodiscard]] std::int64_t LatestTime() const { return m_Latest; }

    std::uint64_t recordsRead = 0;      // whole records of the file that this block brought
    std::uint64_t recordsLeftOut = 0;   // of these, those of another link type than the first
    std::uint32_t leftOutLinkType = 0;  // the link type of one of them
    std::uint64_t stepsBack = 0;        // of these, those earlier than the one before in the file
    Extras extras;  // what stands between or in them and has no place in a record
    // Interfaces that this block describes, whether or not a record of it comes from them; of
    // pcap-ng only where all link types are kept. One that was described not long before may be
    // missing.
    std::vector<DescribedInterfaces> described;
    std::optional<Problem> problem;  // what ended the capture behind these records
    bool isLast = false;             // no further block comes

    // ---- What a framer does.

    // Empties the block, which has room for `size` bytes from now on. Throws std::bad_alloc, and
    // then has no room.
    void Clear(std::size_t size);
    // At least `size` bytes of room from now on, of which those that were there stay. Throws
    // std::bad_alloc.
    void Grow(std::size_t size);
    [[nodiscard]] bool HasRecords() const { return m_Chained > 0; }  // to be taken or not
    [[nodiscard]] bool IsMixed() const { return m_IsMixed; }         // their times step back
    [[nodiscard]] std::span<const std::uint8_t> Bytes() const { return {m_Bytes.get(), m_Size}; }
    [[nodiscard]] std::span<std::uint8_t> Room() { return {m_Bytes.get(), m_Size}; }

    // An interface that records added from now on come from: gives its number in this block. The
    // name, or null, becomes its own.
    std::uint32_t AddInterface(Interface interface, const InterfaceName& name = nullptr);
    // Keeps the name as long as the content, for whatever points to it.
    void Keep(const InterfaceName& name);
    [[nodiscard]] bool HasInterface() const { return !m_Interfaces.empty(); }
    // Memory that the block takes beside its room, bytes.
    [[nodiscard]] std::size_t BytesBeside() const {
        return described.size() * sizeof(DescribedInterfaces) +
               m_Simple.size() * sizeof(SimplePacket) + m_Interfaces.size() * sizeof(Interface) +
               m_Names.size() * sizeof(InterfaceName);
    }

    // Notes the record whose header begins at `offset`, behind all others. Of a packet block (of
    // pcap-ng) there are 28 bytes before the data, of a classic record 16 or 24: `headerSize`.
    // Classic records come from the interface that was added first, others from the one with that
    // number.
    void AddClassic(std::size_t offset, std::size_t headerSize, std::int64_t time,
                    std::uint32_t capturedLength, std::uint32_t originalLength);
    void AddPacketBlock(std::size_t offset, std::int64_t time, std::uint32_t capturedLength,
                        std::uint32_t originalLength, std::uint32_t interface);
    void AddSimplePacketBlock(std::size_t offset, std::int64_t time, std::uint32_t capturedLength,
                              std::uint32_t originalLength, std::uint32_t interface);

    // Takes only the records with from <= time <= last, by time when `byTime`, else as they stand;
    // among equal times always as they stand. Without this all records are taken as they stand.
    // Throws std::bad_alloc, and then takes none.
    void Index(bool byTime, std::int64_t from, std::int64_t last);

 private:
    friend class BlockCursor;

    enum class Layout : std::uint8_t { kClassic, kPcapNg };

    // What simple packet blocks have no room for: these hold for the one at `offset` and those
    // behind it, up to the next entry.
    struct SimplePacket {
        std::uint32_t offset;
        std::uint32_t interface;
        std::int64_t time;
    };

    static constexpr std::uint32_t kIsSimple = 0x80000000;

    template <typename Value>
    [[nodiscard]] Value Get(std::size_t offset) const {
        Value value;
        std::memcpy(&value, m_Bytes.get() + offset, sizeof value);
        return value;
    }
    template <typename Value>
    void Put(std::size_t offset, Value value) {
        std::memcpy(m_Bytes.get() + offset, &value, sizeof value);
    }

    void NoteRecord(std::size_t offset, std::int64_t time);
    void LinkFrom(std::size_t offset);
    void LoadSimple(std::uint32_t offset, Record& record) const;

    // Into its place field by field: a record that is put together elsewhere and copied as a whole
    // makes the processor wait for its parts.
    void Load(std::uint32_t offset, Record& record) const {
        if (m_Layout == Layout::kClassic) {
            record.time = Get<std::int64_t>(offset);
            record.capturedLength = Get<std::uint32_t>(offset + 8);
            record.originalLength = Get<std::uint32_t>(offset + 12);
            record.interface = m_Interfaces.data();
            record.data = m_Bytes.get() + offset + m_HeaderSize;
        } else if ((Get<std::uint32_t>(offset) & kIsSimple) == 0) {
            record.time = Get<std::int64_t>(offset + 12);
            record.capturedLength = Get<std::uint32_t>(offset + 20);
            record.originalLength = Get<std::uint32_t>(offset + 24);
            record.interface = m_Interfaces.data() + Get<std::uint32_t>(offset + 4);
            record.data = m_Bytes.get() + offset + 28;
        } else {
            LoadSimple(offset, record);
        }
    }
    [[nodiscard]] Record Load(std::uint32_t offset) const {
        Record record;
        Load(offset, record);
        return record;
    }

    // Where the record behind this one begins, which the last one does not know.
    [[nodiscard]] std::uint32_t Behind(std::uint32_t offset, const Record& record) const {
        if (m_Layout == Layout::kClassic) {
            return offset + m_HeaderSize + record.capturedLength;
        }
        return offset + (Get<std::uint32_t>(offset) & ~kIsSimple);
    }

    MiscUtils::UniqueMemory<std::uint8_t> m_Bytes;
    std::size_t m_Size = 0;

    Layout m_Layout = Layout::kClassic;
    std::uint32_t m_HeaderSize = 16;
    std::uint32_t m_First = 0;  // offset of the first record
    std::uint32_t m_Last = 0;   // and of the last
    std::size_t m_Chained = 0;  // records from m_First to m_Last
    bool m_IsMixed = false;
    bool m_HasIndex = false;
    std::int64_t m_Earliest = 0;
    std::int64_t m_Latest = 0;
    std::vector<std::uint32_t> m_Index;  // offsets; none when all are taken as they stand
    std::vector<SimplePacket> m_Simple;
    std::vector<Interface> m_Interfaces;  // that the records come from; some twice, perhaps
    std::vector<InterfaceName> m_Names;   // of interfaces
};

// Goes through the records of a block, in the order to take them.
class BlockCursor {
 public:
    BlockCursor() = default;
    // Stands on the first record of the block, which keeps its content as long as this is used.
    explicit BlockCursor(const RecordBlock& block) : m_Block(&block), m_Left(block.Count()) {
        if (m_Left > 0) {
            m_Offset = block.m_HasIndex ? block.m_Index[0] : block.m_First;
            block.Load(m_Offset, m_Record);
        }
    }

    // There is no record any more.
    [[nodiscard]] bool AtEnd() const { return m_Left == 0; }
    // Not at the end; valid until the next Advance.
    [[nodiscard]] const Record& Current() const { return m_Record; }

    // Not at the end.
    void Advance() {
        if (--m_Left == 0) {
            return;
        }
        m_Offset = m_Block->m_HasIndex ? m_Block->m_Index[m_Block->m_Index.size() - m_Left]
                                       : m_Block->Behind(m_Offset, m_Record);
        m_Block->Load(m_Offset, m_Record);
        // The header behind this record is asked for when a few others have been written, and is
        // too far away for the processor to have guessed it.
        __builtin_prefetch(m_Record.data + m_Record.capturedLength);
    }

 private:
    const RecordBlock* m_Block = nullptr;
    std::size_t m_Left = 0;
    std::uint32_t m_Offset = 0;
    Record m_Record;
};

}  // namespace velora::capture
