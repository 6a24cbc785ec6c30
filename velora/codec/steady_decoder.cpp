#include "velora/codec/steady_decoder.h"

#include <algorithm>

namespace velora::codec {

Decoder::Step SteadyDecoder::Decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) {
    Step step;
    bool isStuck = false;
    for (;;) {
        const std::size_t count = std::min(m_Pending.size(), out.size() - step.given);
        std::ranges::copy(m_Pending.first(count), out.subspan(step.given).begin());
        m_Pending = m_Pending.subspan(count);
        step.given += count;
        if (!m_Pending.empty()) {
            return step;
        }
        if (m_Last.isMemberEnd || m_Last.fault) {
            step.isMemberEnd = m_Last.isMemberEnd;
            step.fault = m_Last.fault;
            return step;
        }
        const bool mayHold = m_Last.given == m_Room.size();
        if (isStuck || (step.taken == in.size() && !mayHold)) {
            return step;
        }
        m_Last = m_Decoder->Decode(in.subspan(step.taken), m_Room);
        m_Pending = std::span(m_Room).first(m_Last.given);
        step.taken += m_Last.taken;
        isStuck = m_Last.taken == 0 && m_Last.given == 0;
    }
}

void SteadyDecoder::Reset() {
    m_Decoder->Reset();
    m_Pending = {};
    m_Last = {};
}

}  // namespace velora::codec
