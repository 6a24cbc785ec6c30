#include "velora/capture/capture_reader.h"

#include <cerrno>
#include <utility>
#include <variant>

#include <poll.h>

namespace velora::capture {

CaptureReader::CaptureReader(const std::string& path) : m_Reader({.keepsAllLinkTypes = true}) {
    std::variant<InputFile, Problem> opened = OpenInput(path);
    if (auto* const problem = std::get_if<Problem>(&opened)) {
        m_Problem = std::move(*problem);
        m_IsLast = true;
    } else {
        m_File = std::move(std::get<InputFile>(opened));
    }
}

const Record* CaptureReader::Next() {
    if (m_HasCurrent) {
        m_Cursor.Advance();
    }
    while (m_Cursor.AtEnd()) {
        m_HasCurrent = false;
        if (m_IsLast) {
            return nullptr;
        }
        Fill();
    }
    m_HasCurrent = true;
    return &m_Cursor.Current();
}

void CaptureReader::Fill() {
    m_IsLast = true;  // should an exception end this, nothing more can be read
    m_Filled = 1 - m_Filled;
    RecordBlock& block = m_Blocks[m_Filled];
    while (m_Reader.Read(block) == BlockReader::State::kNeedsBytes) {
        const std::span<std::uint8_t> place = m_Reader.Wanted(block);
        ssize_t count = -EAGAIN;
        while (count == -EAGAIN) {
            if (!m_File.isRegular) {
                // Opened without waiting, so it is waited for here: for a writer too.
                pollfd ready{m_File.fd.Get(), POLLIN, 0};
                static_cast<void>(poll(&ready, 1, -1));
            }
            count = m_File.Read(place);
        }
        m_Reader.Take(count);
    }
    m_IsLast = block.isLast;
    m_Problem = std::move(block.problem);
    m_Cursor = BlockCursor(block);
}

}  // namespace velora::capture
