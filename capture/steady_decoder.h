// SteadyDecoder: decodes by another decoder in calls that depend on nothing but the member's bytes.
//
// liblzma and libbz2 see damage sooner or later by the room and the input that a call has, and what
// comes out before differs by hundreds of bytes. Here the input goes in by pieces of one size,
// counted from the member's start, and the bytes come out into a room of one size, from which they
// are handed on: a damaged capture gives the same records however it arrives, and whatever the size
// of the blocks that take them.

#pragma once

#include <array>
#include <memory>
#include <utility>

#include "capture/decoder.h"

namespace velora::capture {

class SteadyDecoder final : public Decoder {
 public:
    explicit SteadyDecoder(std::unique_ptr<Decoder> decoder) : m_Decoder(std::move(decoder)) {}

    Step Decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) override;
    void Reset() override;
    [[nodiscard]] std::size_t LeastInput() const override;

 private:
    static constexpr std::size_t kPiece = 4096;
    static constexpr std::size_t kRoom = 16384;

    std::unique_ptr<Decoder> m_Decoder;
    std::size_t m_LeftOfPiece = 0;  // not taken yet; 0: the next piece has not begun
    std::array<std::uint8_t, kRoom> m_Room{};
    std::span<const std::uint8_t> m_Pending;  // of it: not handed on yet
    Step m_Last;                              // of the other decoder
};

}  // namespace velora::capture
