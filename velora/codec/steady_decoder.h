// SteadyDecoder: decodes by another decoder into a room of one size, and hands on from there.
//
// How much liblzma and libbz2 give in front of damage depends on the room that they have, and
// differs by hundreds of bytes. With this a damaged capture gives the same records whatever the
// size of the blocks that take them.

#pragma once

#include <array>
#include <memory>
#include <utility>

#include "velora/codec/decoder.h"

namespace velora::codec {

class SteadyDecoder final : public Decoder {
 public:
    // Takes the other one over.
    explicit SteadyDecoder(std::unique_ptr<Decoder> decoder) : m_Decoder(std::move(decoder)) {}

    Step Decode(std::span<const std::uint8_t> in, std::span<std::uint8_t> out) override;
    void Reset() override;

 private:
    static constexpr std::size_t kRoom = 16384;

    std::unique_ptr<Decoder> m_Decoder;
    std::array<std::uint8_t, kRoom> m_Room{};
    std::span<const std::uint8_t> m_Pending;  // of it: not handed on yet
    Step m_Last;                              // of the other decoder
};

}  // namespace velora::codec
