// CaptureReader: one capture of any format, record by record.
//
// Example:
//     CaptureReader reader;
//     if (const auto problem = reader.Open("web.pcap.gz")) {
//         return Complain(problem->text);
//     }
//     for (const Record& record : reader) {
//         Use(record.time, record.Bytes(), record.interface->linkType);
//     }
//     if (reader.GetProblem()) {
//         Complain(reader.GetProblem()->text);  // and nothing behind it was read
//     }
//
// Reads pcap of microseconds and nanoseconds and pcap-ng, of either byte order, as they are or in
// gzip, bzip2, xz, zstd or lz4, told by content, from a file, a descriptor, memory or a function
// (velora/capture/byte_source.h). Records come in the order of the file. Whatever is wrong with the
// bytes, all whole records before it are given.
//
// A reader may be moved. It belongs to one thread at a time. A read waits for its bytes. Open, it
// takes a descriptor and two blocks of ReadOptions::blockSize, as far as there is something in
// them; at the end of the capture it gives these back.

#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <span>
#include <utility>

#include "velora/capture/byte_source.h"
#include "velora/capture/capture_traits.h"
#include "velora/capture/extras.h"
#include "velora/capture/problem.h"
#include "velora/capture/record.h"
#include "velora/capture/record_block.h"
#include "velora/capture/record_iterator.h"
#include "velora/utils/api.h"

namespace velora::capture {

struct ReadOptions {
    // Gives each record as soon as its last byte has come, for a pipe or socket that fills slowly;
    // of a compressed capture, as soon as its decoder gives it (a writer can flush it, as
    // CaptureWriter does). Else a block is filled first, which costs less.
    bool givesAtOnce = false;
    std::size_t blockSize = std::size_t{128} << 10U;  // bytes; 64 to 2^30 count
};

class VELORA_API CaptureReader {
 public:
    // Nothing is open: there are no records.
    CaptureReader();
    ~CaptureReader();
    // The other is as if it had never been opened. A record that it gave is good no longer.
    CaptureReader(CaptureReader&& other) noexcept;
    CaptureReader& operator=(CaptureReader&& other) noexcept;
    CaptureReader(const CaptureReader&) = delete;
    CaptureReader& operator=(const CaptureReader&) = delete;

    // Opens the source and reads the beginning of it, in place of what was open. Nothing where it
    // is a capture; else why not: kCannotRead or kNoCapture. Throws std::bad_alloc, and then
    // nothing is open.
    [[nodiscard]] std::optional<Problem> Open(const ByteSource& source,
                                              const ReadOptions& options = {});

    // The next record, of any link type, which lives until the call after, or null: there is none
    // further. Throws std::bad_alloc, after which there is none further either.
    [[nodiscard]] const Record* Next() {
        if (m_HasCurrent) [[likely]] {
            m_Cursor.Advance();
            if (!m_Cursor.AtEnd()) [[likely]] {
                return &m_Cursor.Current();
            }
        }
        return NextBlock();
    }

    // What the capture says of itself, once it is open. What an empty one says where none is.
    [[nodiscard]] const CaptureTraits& Traits() const;

    // The interfaces that were described so far, with their names and frame check sequences,
    // records or not; a classic capture has one. `first.number` is what record.interface->number
    // says of its records; those of the next of `count` equal ones say one more, and so on. Of a
    // pcap-ng capture one that several sections describe stands there once, as a rule; beyond
    // 65536, or 1 MiB of names, no further one does. The list is good until the next Next or Open.
    [[nodiscard]] std::span<const DescribedInterfaces> Interfaces() const;

    // What was met so far and is not given out: comments, names, secrets, other options
    // and blocks.
    [[nodiscard]] const Extras& NotGiven() const;

    // Once there is no further record: what is wrong with the capture, or nothing; also why it was
    // not opened.
    [[nodiscard]] const std::optional<Problem>& GetProblem() const;

    // The records from the next one on, once: begin() takes it.
    using Iterator = RecordIterator<CaptureReader>;
    // For range-based for.
    [[nodiscard]] Iterator begin() { return Iterator(*this); }
    [[nodiscard]] std::default_sentinel_t end() const { return {}; }

 private:
    struct Reading;

    const Record* NextBlock();
    void Fill();

    std::unique_ptr<Reading> m_Reading;  // null: nothing is open
    BlockCursor m_Cursor;                // in one of its blocks
    bool m_HasCurrent = false;           // the record there was given
};

}  // namespace velora::capture
