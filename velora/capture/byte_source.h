// ByteSource: where the bytes of a capture come from: a file, an open descriptor, memory, or
// whatever a function of the caller's reads. It is a name, nothing more: what it names is opened
// with the capture.
//
// Example:
//     reader.Open("web.pcap.gz");
//     reader.Open(ByteSource::Memory(bytes));
//     reader.Open(ByteSource::Descriptor(socket));
//     reader.Open(ByteSource::Function([&](std::span<std::uint8_t> room) { return Receive(room);
//     }));

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "velora/utils/api.h"

namespace velora::capture {

struct InputFile;
struct Problem;

class VELORA_API ByteSource {
 public:
    // Reads at most room.size() bytes, which is not 0, into `room`: gives how many came, 0 at the
    // end, or minus an errno value. It may wait, and whoever reads the capture waits with it; it is
    // called by one thread at a time, which need not be the one that opened the capture. An
    // exception counts as EIO.
    using ReadFunction = std::function<std::ptrdiff_t(std::span<std::uint8_t> room)>;

    // The file at `path`, relative to the working directory: regular, a FIFO or a character device.
    ByteSource(std::string path) : m_What(std::move(path)) {}    // NOLINT: a path is what is meant
    ByteSource(const char* path) : m_What(std::string(path)) {}  // NOLINT: so is this
    // An open descriptor of a file, pipe, device or stream socket. It is duplicated when the
    // capture is opened, and stays the caller's, who may close it then. It is read from where it
    // stands, and both move on: whoever else reads from it takes bytes away.
    [[nodiscard]] static ByteSource Descriptor(int fd) { return ByteSource(What(fd)); }
    [[nodiscard]] static ByteSource StandardInput() { return Descriptor(0); }
    // Bytes that stay where they are, and as they are, until the capture is read.
    [[nodiscard]] static ByteSource Memory(std::span<const std::uint8_t> bytes) {
        return ByteSource(What(bytes));
    }
    [[nodiscard]] static ByteSource Memory(std::string_view bytes) {
        return Memory({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    }
    // Whatever that function reads.
    [[nodiscard]] static ByteSource Function(ReadFunction read) {
        return ByteSource(What(std::move(read)));
    }

 private:
    friend std::variant<InputFile, Problem> OpenInput(const ByteSource& source);
    using What = std::variant<std::string, int, std::span<const std::uint8_t>, ReadFunction>;

    explicit ByteSource(What what) : m_What(std::move(what)) {}

    What m_What;
};

}  // namespace velora::capture
