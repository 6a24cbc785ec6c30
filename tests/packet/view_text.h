// What a packet's view holds, as a line of text that a test can expect.

#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "velora/packet/packet_view.h"

// "192.168.0.0 > 203.0.113.9, protocol 6, ports 1234 5353, payload 34 to 57 of the captured bytes",
// or "none".
inline std::string ViewText(std::uint32_t linkType, std::span<const std::uint8_t> captured) {
    const auto view = velora::packet::PacketView::Of(linkType, captured);
    if (!view) {
        return "none";
    }
    const auto shown = [](std::optional<std::uint16_t> port) { return port ? std::to_string(*port) : "-"; };
    const auto begin = view->payload.data() - captured.data();
    return view->source.Text() + " > " + view->destination.Text() + ", protocol " + std::to_string(view->protocol) +
           (view->isLaterFragment ? ", later fragment" : "") + ", ports " + shown(view->sourcePort) + " " +
           shown(view->destinationPort) + ", payload " + std::to_string(begin) + " to " +
           std::to_string(begin + static_cast<std::ptrdiff_t>(view->payload.size()));
}

// The end of that text: a payload that begins and ends there (an earlier cut ends it), with the
// ports 1234 and 5353 where it has any.
inline std::string PayloadText(bool hasPorts, std::size_t begin, std::size_t end, std::size_t cut) {
    end = std::min(end, cut);
    begin = std::min(begin, end);
    return std::string(", ports ") + (hasPorts && end - begin >= 2 ? "1234 " : "- ") +
           (hasPorts && end - begin >= 4 ? "5353" : "-") + ", payload " + std::to_string(begin) + " to " +
           std::to_string(end);
}
