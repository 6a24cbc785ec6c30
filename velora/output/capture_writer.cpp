#include "velora/output/capture_writer.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <system_error>
#include <utility>

#include "velora/formats/link_types.h"
#include "velora/output/form_writer.h"
#include "velora/output/interface_table.h"
#include "velora/output/output_file.h"
#include "velora/output/pcapng_encoder.h"

namespace velora::output {

namespace {

namespace link_type = formats::link_type;
using codec::OutputOutcome;

constexpr std::uint32_t kUsualSnapLen = 262144;
constexpr std::uint32_t kMostBytes = 128U << 20U;  // of a record; readers take more for damage

OutputOutcome Cannot(std::string text) {
    return {.kind = OutputOutcome::Kind::kCannot, .text = std::move(text)};
}

// Its text is so short that it takes no memory.
OutputOutcome OutOfMemory() noexcept {
    return {.kind = OutputOutcome::Kind::kCannot, .error = ENOMEM, .text = "out of memory"};
}

// Why nothing can be written with these options, or nothing.
std::string RefusalOf(const WriterOptions& options) {
    using enum codec::Compression;
    if (options.format == capture::Format::kClassicModified) {
        return std::string(NameOf(options.format)) + " is not written: pcap and pcap-ng are";
    }
    if (options.compression != kNone && options.compression != kGzip &&
        options.compression != kZstd) {
        return std::string(NameOf(options.compression)) + " is not written: gzip and zstd are";
    }
    return {};
}

// What an interface has to declare for a record of so many bytes: more than it does itself by
// powers of two, so that few interfaces are made of one.
std::uint32_t SnapLenFor(const capture::Interface& interface, std::size_t length) {
    const bool isWithin = length <= (interface.snapLen == 0 ? kUsualSnapLen : interface.snapLen);
    return isWithin ? interface.snapLen
                    : std::bit_ceil(std::max(static_cast<std::uint32_t>(length), kUsualSnapLen));
}

}  // namespace

class CaptureWriter::State {
 public:
    explicit State(const WriterOptions& options) : m_Options(options) {
        m_Default.linkType = options.linkType;
        m_Form.format = options.format;
        if (options.snapLen > 0) {
            m_Form.mostBytes = options.snapLen;
        }
    }

    void Open(const std::string& path) noexcept {
        Guarded([&] {
            Open(m_File.emplace());
            if (m_IsOver) {
                return;
            }
            OutputOutcome outcome =
                m_File->Prepare(path, {m_Options.mode, m_Options.replacesExisting});
            if (outcome.IsGood()) {
                outcome = m_File->Open();
            }
            if (!outcome.IsGood()) {
                End(std::move(outcome));
            }
        });
    }

    void Open(codec::ByteSink& sink) noexcept {
        Guarded([&] {
            m_Below = &sink;
            if (std::string refusal = RefusalOf(m_Options); !refusal.empty()) {
                End(Cannot(std::move(refusal)));
            }
        });
    }

    bool Write(const capture::Record& record, std::uint32_t source) noexcept {
        bool isWritten = false;
        Guarded([&] { isWritten = Put(record, source); });
        return isWritten;
    }

    bool Describe(const capture::DescribedInterfaces& described, std::uint32_t source) noexcept {
        Guarded([&] {
            if (!IsOpen() || !m_Form.IsPcapNg() || (!m_Chain && !Begin(m_Default, 0))) {
                return;
            }
            capture::Interface interface = described.first;
            for (std::uint32_t left = described.count; left > 0; --left, ++interface.ordinal) {
                const capture::DescribedInterfaces own{
                    m_Interfaces.Of(source, interface, SnapLenFor(interface, 0))};
                if (!m_Sink->Put(CarriedBlock{.source = 0, .interfaces = {&own, 1}})) {
                    return End(m_Chain->Writer().Outcome());
                }
            }
        });
        return !m_IsOver;
    }

    bool Flush() noexcept {
        Guarded([&] {
            if (m_Chain && !m_Chain->Writer().Flush()) {
                End(m_Chain->Writer().Outcome());
            }
        });
        return !m_IsOver;
    }

    OutputOutcome Finish() noexcept {
        Guarded([&] {
            if (!m_IsOver && (m_Chain || Begin(m_Default, 0))) {
                End(m_Chain->Sink().Finish());
            }
        });
        try {
            return m_Outcome;
        } catch (const std::bad_alloc&) {
            return OutOfMemory();
        }
    }

    [[nodiscard]] const OutputOutcome& Outcome() const noexcept { return m_Outcome; }

    [[nodiscard]] WriterCounts Counts() noexcept {
        const SourceCounts& written = m_Ledger.Of(0);
        return {.records = written.recordsWritten,
                .cut = m_Cut,
                .roundedDown = written.roundedDown,
                .beforeEpoch = written.beforeEpoch,
                .beyondEnd = written.beyondEnd,
                .otherFcsLength = m_OtherFcsLength};
    }

 private:
    // What is thrown in it ends the writing.
    template <typename Operation>
    void Guarded(const Operation& operation) noexcept {
        try {
            try {
                operation();
            } catch (const std::system_error& thrown) {
                OutputOutcome outcome = Cannot(thrown.what());
                outcome.error = thrown.code().value();
                End(std::move(outcome));
            } catch (const std::bad_alloc&) {
                throw;
            } catch (const std::exception& thrown) {
                End(Cannot(thrown.what()));
            }
        } catch (const std::bad_alloc&) {
            End(OutOfMemory());
        }
    }

    // What comes behind a good end would be lost.
    bool IsOpen() {
        if (m_IsOver && m_Outcome.IsGood()) [[unlikely]] {
            End(Cannot("more came when the capture was finished"));
        }
        return !m_IsOver;
    }

    // Nothing is written from then on. A file that has not appeared is gone.
    void End(OutputOutcome outcome) noexcept {
        m_Outcome = std::move(outcome);
        m_IsOver = true;
        m_Sink = nullptr;
        m_Chain.reset();
        m_File.reset();
    }

    bool Refuse(const std::string& why) {
        End(Cannot("record " + std::to_string(m_Ledger.Of(0).recordsWritten + 1) + why));
        return false;
    }

    // With the first record's interface, and its length.
    bool Begin(const capture::Interface& interface, std::size_t length) {
        if (!m_Form.IsPcapNg()) {
            if ((interface.linkType & link_type::kFcsMask) != 0) {
                return Refuse(NoRoomFor(interface.linkType, link_type::kTypeMask));
            }
            m_Form.linkType = interface.linkType;
            m_Form.fcsBits = link_type::FcsBitsOf(interface.fcsLength);
            m_FcsLength = link_type::FcsLengthOf(m_Form.fcsBits);
            m_Form.snapLen = std::max(SnapLenFor(interface, length), kUsualSnapLen);
        }
        if (m_Options.snapLen > 0) {
            m_Form.snapLen = m_Options.snapLen;
        }
        m_Chain.emplace(*m_Below, WritingMeans{m_Options.compression, m_Options.threads}, m_Form,
                        std::vector<std::string>(1), m_Ledger);
        m_Sink = &m_Chain->Sink();
        m_Most = std::min(m_Form.mostBytes, kMostBytes);
        if (!m_Form.IsPcapNg()) {
            m_Most = std::min(m_Most, m_Form.snapLen);
        }
        return true;
    }

    static std::string NoRoomFor(std::uint32_t linkType, std::uint32_t largest) {
        return " is of link type " + link_type::Shown(linkType) +
               ", and the format has room for those up to " + std::to_string(largest);
    }

    bool Put(const capture::Record& record, std::uint32_t source) {
        const capture::Interface& interface =
            record.interface != nullptr ? *record.interface : m_Default;
        return m_Sink != nullptr && record.capturedLength <= m_Most
                   ? PutFitting(record, source, interface, record.Bytes())
                   : PutUnusual(record, source, interface);
    }

    // The first one, or one that is too long.
    bool PutUnusual(const capture::Record& record, std::uint32_t source,
                    const capture::Interface& interface) {
        std::span<const std::uint8_t> kept = record.Bytes();
        const bool isCut = kept.size() > m_Form.mostBytes;
        if (isCut) {
            kept = kept.first(m_Form.mostBytes);
        }
        if (!IsOpen()) {
            return false;
        }
        if (kept.size() > kMostBytes) {
            return Refuse(TooLong(kept.size(), " bytes, and readers take at most ", kMostBytes));
        }
        if (m_Sink == nullptr && !Begin(interface, kept.size())) {
            return false;
        }
        if (kept.size() > m_Most) {
            return Refuse(TooLong(kept.size(), " bytes, and the file declares at most ", m_Most));
        }
        if (!PutFitting(record, source, interface, kept)) {
            return false;
        }
        m_Cut += isCut ? 1 : 0;
        return true;
    }

    bool PutFitting(const capture::Record& record, std::uint32_t source,
                    const capture::Interface& interface, std::span<const std::uint8_t> kept) {
        return m_Form.IsPcapNg() ? PutPcapNg(record, source, interface, kept)
                                 : PutClassic(record, interface, kept);
    }

    bool PutClassic(const capture::Record& record, const capture::Interface& interface,
                    std::span<const std::uint8_t> kept) {
        if (interface.linkType != m_Form.linkType) [[unlikely]] {
            return Refuse(" is of link type " + link_type::Shown(interface.linkType) +
                          ", and a pcap file holds one, " + link_type::Shown(m_Form.linkType) +
                          ": pcap-ng holds both");
        }
        if (interface.fcsLength != m_FcsLength) {
            m_OtherFcsLength += 1;
        }
        return PutItem(record, kept);
    }

    bool PutPcapNg(const capture::Record& record, std::uint32_t source,
                   const capture::Interface& interface, std::span<const std::uint8_t> kept) {
        if (!PcapNgEncoder::Holds(interface.linkType)) [[unlikely]] {
            return Refuse(NoRoomFor(interface.linkType, 0xFFFF));
        }
        capture::Record described = record;
        described.interface =
            &m_Interfaces.Of(source, interface, SnapLenFor(interface, kept.size()));
        return PutItem(described, kept);
    }

    bool PutItem(const capture::Record& record, std::span<const std::uint8_t> kept) {
        if (!m_Sink->Put(Item{.record = &record, .source = 0, .time = record.time}, kept)) {
            End(m_Chain->Writer().Outcome());
            return false;
        }
        return true;
    }

    static std::string TooLong(std::size_t length, const char* butAtMost, std::uint32_t most) {
        return " has " + std::to_string(length) + butAtMost + std::to_string(most);
    }

    const WriterOptions m_Options;
    capture::Interface m_Default;
    OutputForm m_Form;
    InterfaceTable m_Interfaces;
    RunProgress m_Progress;
    Ledger m_Ledger{1, m_Progress};
    std::uint32_t m_Most = 0;                 // bytes that a record may have
    std::optional<std::uint8_t> m_FcsLength;  // that a pcap file tells
    std::uint64_t m_Cut = 0;
    std::uint64_t m_OtherFcsLength = 0;
    OutputOutcome m_Outcome;
    bool m_IsOver = false;
    std::optional<OutputFile> m_File;  // unless there is a sink of the caller's
    codec::ByteSink* m_Below = nullptr;
    std::optional<FormWriter> m_Chain;  // from the first record on
    RecordSink* m_Sink = nullptr;       // its
};

std::unique_ptr<CaptureWriter::State> CaptureWriter::MakeState(
    const WriterOptions& options) noexcept {
    try {
        return std::make_unique<State>(options);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

CaptureWriter::CaptureWriter(const std::string& path, const WriterOptions& options) noexcept
    : m_State(MakeState(options)) {
    if (m_State) {
        m_State->Open(path);
    }
}

CaptureWriter::CaptureWriter(codec::ByteSink& sink, const WriterOptions& options) noexcept
    : m_State(MakeState(options)) {
    if (m_State) {
        m_State->Open(sink);
    }
}

CaptureWriter::~CaptureWriter() = default;
CaptureWriter::CaptureWriter(CaptureWriter&& other) noexcept = default;
CaptureWriter& CaptureWriter::operator=(CaptureWriter&& other) noexcept = default;

bool CaptureWriter::Write(const capture::Record& record, std::uint32_t source) noexcept {
    return m_State && m_State->Write(record, source);
}

bool CaptureWriter::Describe(const capture::DescribedInterfaces& described,
                             std::uint32_t source) noexcept {
    return m_State && m_State->Describe(described, source);
}

bool CaptureWriter::Flush() noexcept {
    return m_State && m_State->Flush();
}

const OutputOutcome& CaptureWriter::Outcome() const noexcept {
    static const OutputOutcome none = OutOfMemory();
    return m_State ? m_State->Outcome() : none;
}

WriterCounts CaptureWriter::Counts() const noexcept {
    return m_State ? m_State->Counts() : WriterCounts{};
}

OutputOutcome CaptureWriter::Finish() noexcept {
    return m_State ? m_State->Finish() : OutOfMemory();
}

}  // namespace velora::output
