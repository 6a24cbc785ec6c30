// CaptureWriter: writes records as one capture, which appears under its name whole or not at all.
//
//     CaptureWriter writer("web.pcapng.zst", {.compression = codec::Compression::kZstd});
//     for (const capture::Record& record : reader) {
//         writer.Write(record);
//     }
//     if (const codec::OutputOutcome outcome = writer.Finish(); !outcome.IsGood()) {
//         std::cerr << outcome.text << '\n';
//     }
//
// What can fail, from the opening on, is kept, and Finish tells the first of it; nothing of the
// file is left then. Outcome has it before. No operation throws: that memory or threads run out is
// such a failure too, and so is what a sink of the caller's throws as a std::exception. SIGPIPE and
// SIGXFSZ are of no concern to the program, whatever it does with them.
//
// A new file is written in its directory without a name (velora/output/output_file.h), with three
// descriptors. A writer holds, once it has records, a block of 256 KiB, and compressing it 1 MiB.
// It belongs to one thread at a time.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <sys/types.h>

#include "velora/capture/capture_traits.h"
#include "velora/capture/record.h"
#include "velora/capture/record_block.h"
#include "velora/codec/byte_sink.h"
#include "velora/codec/compression.h"
#include "velora/utils/api.h"

namespace velora::output {

struct WriterOptions {
    // kPcapNg holds all that a record tells: any number of interfaces, with their names and link
    // types, times in nanoseconds. A pcap file, kClassicMicroseconds or kClassicNanoseconds, holds
    // one link type and no names. Another format is a failure.
    capture::Format format = capture::Format::kPcapNg;
    // kNone, kGzip or kZstd. Another one is a failure.
    codec::Compression compression = codec::Compression::kNone;
    // Captured bytes are cut to so many, and the file declares that. 0: nothing is cut.
    std::uint32_t snapLen = 0;
    // Of records that name no interface, and of a pcap file without a record: 1, Ethernet.
    std::uint32_t linkType = 1;
    // Of a new file, less the umask.
    mode_t mode = 0600;
    // A regular file of that name is replaced, at the end and at once: until then it stays as it
    // is, and may be the one that is read. What else has the name, such as a directory or a
    // symbolic link, is a failure, as everything is without this (kExists).
    bool replacesExisting = false;
    // Threads that compress and write while the program goes on. With none, Write does it now and
    // then, which takes the least time of processors in all. One takes up to a third off the time
    // of a copy where a processor is idle; of more, zstd makes use. Each takes up to 16 MiB.
    unsigned threads = 0;
};

// What was written, and what a pcap file could not hold of it.
struct WriterCounts {
    std::uint64_t records = 0;      // that were written
    std::uint64_t cut = 0;          // that had more bytes than options.snapLen
    std::uint64_t roundedDown = 0;  // with times finer than the file's microseconds
    std::uint64_t beforeEpoch = 0;  // from before 1970: written with time 0 (in pcap-ng too)
    std::uint64_t beyondEnd = 0;    // from 2106 or later: written with the last time that it holds
    // Whose frame check sequences are of another length than the file tells, which has that of the
    // first record.
    std::uint64_t otherFcsLength = 0;
};

class VELORA_API CaptureWriter {
 public:
    // Opens the file. "-" is standard output; that, a FIFO, which waits for its reader here, and a
    // character device are written straight.
    explicit CaptureWriter(const std::string& path, const WriterOptions& options = {}) noexcept;
    // Writes to a sink of the caller's, which outlives the writer and is called in one thread at a
    // time, with `threads` in another than the caller's. Its Finish is called by Finish, and only
    // when nothing has failed; `mode` and `replacesExisting` say nothing here.
    explicit CaptureWriter(codec::ByteSink& sink, const WriterOptions& options = {}) noexcept;
    // Without Finish: nothing appears, and a sink is not finished.
    ~CaptureWriter();
    // The other one can only be destroyed or assigned to then.
    CaptureWriter(CaptureWriter&& other) noexcept;
    CaptureWriter& operator=(CaptureWriter&& other) noexcept;
    CaptureWriter(const CaptureWriter&) = delete;
    CaptureWriter& operator=(const CaptureWriter&) = delete;

    // Writes a record, which may be one that was read or one that the program has made up: its
    // time, its bytes, its length on the wire, its interface. In pcap-ng an interface is described
    // before its first record. Records have the same one if they are of the same source, a number
    // of the program's own, and their interfaces say the same (link type, name, snaplen, length of
    // the frame check sequence, IsSameAs), wherever these lie. Its snaplen is at least what a
    // record has that is written with it.
    //
    // False once anything has failed, as Finish tells: a program that has nothing else to do may
    // pass over it. It is a failure that a pcap file is given a further link type, or a longer
    // record than it declares (262144 bytes, or more that the first one or its interface has).
    bool Write(const capture::Record& record, std::uint32_t source = 0) noexcept;

    // Describes interfaces that no record may come from, as CaptureReader::Interfaces lists them,
    // so that the output has them too. Those that are described already are not described again; a
    // pcap file has no place for them. False as Write.
    bool Describe(const capture::DescribedInterfaces& described, std::uint32_t source = 0) noexcept;

    // Hands on all that was written, for somebody who reads a pipe or a sink as it grows;
    // compressed to a border up to which it can be decompressed, which costs some bytes. With
    // `threads` it is under way then. False as Write.
    bool Flush() noexcept;

    // The first failure so far, or good: right behind the constructor, whether the path can be
    // written. It lives as long as the writer.
    [[nodiscard]] const codec::OutputOutcome& Outcome() const noexcept;

    // What was written so far.
    [[nodiscard]] WriterCounts Counts() const noexcept;

    // Has everything written, lets the file appear, and tells how it went: the first failure, if
    // there was one. A capture without records is one too. A Write that comes
    // later is a failure, which Outcome tells.
    [[nodiscard]] codec::OutputOutcome Finish() noexcept;

 private:
    class State;
    static std::unique_ptr<State> MakeState(const WriterOptions& options) noexcept;

    std::unique_ptr<State> m_State;  // none: there was no memory for it
};

}  // namespace velora::output
