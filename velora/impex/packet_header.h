// PacketHeader: the header of one record in memory, and the owners of a record's two blocks.
//
// CImpex_Libpcap::ReadNext hands a record out as two blocks of the scalable allocator: its
// PacketHeader and its captured bytes. They belong to the caller, who gives both back with
// scalable_free; HeaderBlock and DataBlock do so by themselves.

#pragma once

#include <cstdint>
#include <memory>

#include <sys/time.h>

#include "velora/utils/api.h"

// The layout of libpcap's pcap_pkthdr on 64-bit Linux.
struct PacketHeader {
    timeval ts;            // seconds since 1970-01-01 UTC and microseconds, 64 bits each
    std::uint32_t caplen;  // captured length: the bytes that the data block holds
    std::uint32_t len;     // length of the packet on the wire
};
static_assert(sizeof(PacketHeader) == 24);

namespace velora::impex {

// Gives a block back to the scalable allocator.
struct VELORA_API ScalableFree {
    // `block` is not null.
    void operator()(void* block) const noexcept;
};

// The owners of a record's two blocks.
using HeaderBlock = std::unique_ptr<PacketHeader, ScalableFree>;
using DataBlock = std::unique_ptr<std::uint8_t[], ScalableFree>;

}  // namespace velora::impex
