#include "velora/capture/capture_reader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <deque>
#include <string>
#include <variant>
#include <vector>

#include <poll.h>

#include "velora/capture/block_reader.h"
#include "velora/capture/input_file.h"

namespace velora::capture {

struct CaptureReader::Reading {
    explicit Reading(const ReadOptions& options)
        : reader({.blockSize = options.blockSize,
                  .keepsAllLinkTypes = true,
                  .keepsInterfaceNames = true,
                  .givesAtOnce = options.givesAtOnce}) {}

    static constexpr std::size_t kMostInterfaces = 65536;

    static constexpr std::size_t kMostNameBytes = std::size_t{1} << 20U;

    void NoteInterfaces(const RecordBlock& block);
    // A read that waits, also where the descriptor was opened without waiting.
    [[nodiscard]] ssize_t Read(std::span<std::uint8_t> place) const;

    BlockReader reader;
    InputFile file;
    std::array<RecordBlock, 2> blocks;  // the one behind still has what its end cut
    std::size_t filled = 0;
    bool isLast = false;
    std::optional<Problem> problem;
    Extras notGiven;
    std::vector<DescribedInterfaces> interfaces;
    std::deque<std::string> names;  // of these
    std::size_t nameBytes = 0;
};

CaptureReader::CaptureReader() = default;
CaptureReader::~CaptureReader() = default;

CaptureReader::CaptureReader(CaptureReader&& other) noexcept
    : m_Reading(std::move(other.m_Reading)),
      m_Cursor(std::exchange(other.m_Cursor, {})),
      m_HasCurrent(std::exchange(other.m_HasCurrent, false)) {}

CaptureReader& CaptureReader::operator=(CaptureReader&& other) noexcept {
    m_Reading = std::move(other.m_Reading);
    m_Cursor = std::exchange(other.m_Cursor, {});
    m_HasCurrent = std::exchange(other.m_HasCurrent, false);
    return *this;
}

std::optional<Problem> CaptureReader::Open(const ByteSource& source, const ReadOptions& options) {
    *this = CaptureReader();
    auto reading = std::make_unique<Reading>(options);
    std::variant<InputFile, Problem> opened = OpenInput(source);
    if (auto* const problem = std::get_if<Problem>(&opened)) {
        reading->problem = std::move(*problem);
        reading->isLast = true;
        m_Reading = std::move(reading);
        return m_Reading->problem;
    }
    reading->file = std::move(std::get<InputFile>(opened));
    m_Reading = std::move(reading);
    try {
        Fill();
    } catch (...) {
        *this = CaptureReader();
        throw;
    }
    return m_Reading->reader.IsCapture() ? std::nullopt : m_Reading->problem;
}

const Record* CaptureReader::NextBlock() {
    m_HasCurrent = false;
    while (m_Cursor.AtEnd()) {
        if (!m_Reading || m_Reading->isLast) {
            return nullptr;
        }
        Fill();
    }
    m_HasCurrent = true;
    return &m_Cursor.Current();
}

void CaptureReader::Fill() {
    Reading& reading = *m_Reading;
    reading.isLast = true;  // should an exception end this, nothing more can be read
    m_Cursor = {};
    reading.filled = 1 - reading.filled;
    RecordBlock& block = reading.blocks[reading.filled];
    while (reading.reader.Read(block) == BlockReader::State::kNeedsBytes) {
        reading.reader.Take(reading.Read(reading.reader.Wanted(block)));
    }
    reading.isLast = block.isLast;
    reading.problem = std::move(block.problem);
    reading.notGiven += block.extras;
    reading.NoteInterfaces(block);
    m_Cursor = BlockCursor(block);
    if (reading.isLast) {
        reading.file = {};
        reading.blocks[1 - reading.filled].Clear(0);
    }
}

ssize_t CaptureReader::Reading::Read(std::span<std::uint8_t> place) const {
    ssize_t count = 0;
    do {
        if (file.IsToBeAwaited()) {
            pollfd ready{file.fd.Get(), POLLIN, 0};
            static_cast<void>(poll(&ready, 1, -1));
        }
        count = file.Read(place);
    } while (count == -EAGAIN && file.IsToBeAwaited());
    return count;
}

void CaptureReader::Reading::NoteInterfaces(const RecordBlock& block) {
    for (const DescribedInterfaces& described : block.described) {
        if (interfaces.size() == kMostInterfaces || nameBytes >= kMostNameBytes) {
            return;
        }
        interfaces.push_back(described);
        std::string_view& name = interfaces.back().first.name;
        nameBytes += name.size();
        name = names.emplace_back(name);
    }
}

const CaptureTraits& CaptureReader::Traits() const {
    static const CaptureTraits kNone;
    return m_Reading ? m_Reading->reader.Traits() : kNone;
}

std::span<const DescribedInterfaces> CaptureReader::Interfaces() const {
    return m_Reading ? std::span<const DescribedInterfaces>(m_Reading->interfaces)
                     : std::span<const DescribedInterfaces>();
}

const Extras& CaptureReader::NotGiven() const {
    static const Extras kNone;
    return m_Reading ? m_Reading->notGiven : kNone;
}

const std::optional<Problem>& CaptureReader::GetProblem() const {
    static const std::optional<Problem> kNone;
    return m_Reading ? m_Reading->problem : kNone;
}

}  // namespace velora::capture
