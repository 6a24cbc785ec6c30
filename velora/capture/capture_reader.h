// CaptureReader: one capture of any format, record by record.
//
// Example:
//     CaptureReader reader("web.pcap.gz");
//     while (const Record* record = reader.Next()) {
//         Use(record->time, record->Bytes(), record->interface->linkType);
//     }
//     if (reader.GetProblem()) {
//         std::cerr << reader.GetProblem()->text << '\n';
//     }
//
// Reads pcap of microseconds and nanoseconds and pcap-ng, of either byte order, as they are or in
// gzip, bzip2, xz, zstd or lz4, told by content. Records come in the order of the file. Whatever is
// wrong with the file, all whole records before it are given.
//
// An object belongs to one thread at a time. A read waits for its bytes.

#pragma once

#include <optional>
#include <string>

#include "velora/capture/block_reader.h"
#include "velora/capture/input_file.h"

namespace velora::capture {

class CaptureReader {
 public:
    // Opens the file at `path`: regular, a FIFO or a character device.
    explicit CaptureReader(const std::string& path);

    // The next record, of any link type, which lives until the call after, or null: there is none
    // further. Throws std::bad_alloc, after which there is none further either.
    [[nodiscard]] const Record* Next();

    // What the capture says of itself. Settled with the first call of Next.
    [[nodiscard]] const CaptureTraits& Traits() const { return m_Reader.Traits(); }

    // Once there is no further record: what is wrong with the file, or nothing.
    [[nodiscard]] const std::optional<Problem>& GetProblem() const { return m_Problem; }

 private:
    void Fill();

    BlockReader m_Reader;
    InputFile m_File;
    RecordBlock m_Blocks[2];  // the one behind still has what its end cut
    int m_Filled = 0;
    BlockCursor m_Cursor;
    bool m_HasCurrent = false;
    bool m_IsLast = false;
    std::optional<Problem> m_Problem;
};

}  // namespace velora::capture
