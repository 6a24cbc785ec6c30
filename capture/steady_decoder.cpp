#include "capture/steady_decoder.h"

#include <algorithm>

namespace velora::capture {
namespace {

bool IsOver(const Decoder::Step& step) {
    return step.isMemberEnd || step.fault;
}

}  // namespace

Decoder::Step SteadyDecoder::Decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) {
    Step step;
    for (;;) {
        const std::size_t count = std::min(m_Pending.size(), out.size() - step.given);
        std::ranges::copy(m_Pending.first(count), out.subspan(step.given).begin());
        m_Pending = m_Pending.subspan(count);
        step.given += count;
        if (!m_Pending.empty()) {
            return step;
        }
        if (IsOver(m_Last)) {
            step.isMemberEnd = m_Last.isMemberEnd;
            step.fault = m_Last.fault;
            return step;
        }
        const bool mayHold = m_Last.given == m_Room.size();
        if (m_LeftOfPiece == 0 && !mayHold) {
            // Behind the piece that this call was for, `in` need not have all of the next.
            if (step.taken > 0 || in.empty()) {
                return step;
            }
            m_LeftOfPiece = std::min(in.size(), kPiece);
        }
        m_Last = m_Decoder->Decode(in.subspan(step.taken, m_LeftOfPiece), m_Room);
        m_LeftOfPiece -= m_Last.taken;
        step.taken += m_Last.taken;
        m_Pending = std::span(m_Room).first(m_Last.given);
        if (m_LeftOfPiece > 0 && m_Last.taken == 0 && m_Last.given == 0 && !IsOver(m_Last)) {
            return step;  // the same call would lead nowhere again
        }
    }
}

void SteadyDecoder::Reset() {
    m_Decoder->Reset();
    m_LeftOfPiece = 0;
    m_Pending = {};
    m_Last = {};
}

std::size_t SteadyDecoder::LeastInput() const {
    return m_LeftOfPiece > 0 ? m_LeftOfPiece : kPiece;
}

}  // namespace velora::capture
