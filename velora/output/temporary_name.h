// TemporaryName: a name in a directory for a file that is not yet what it will be. It is removed at
// the end of its scope, and by RemoveAll() when a signal ends the process.
//
// A name is registered for RemoveAll() before its file is created, and until nothing bears it any
// more; it is random enough never to be another file's. So a handler that interrupts the owner at
// any place finds what is there. That holds for a handler in the owner's own thread: a program with
// several blocks the signal in all others.

#pragma once

#include <cstddef>
#include <string_view>

#include "velora/utils/api.h"

namespace velora::output {

class VELORA_API TemporaryName {
 public:
    // No name.
    TemporaryName() = default;
    // A hidden name beside `name` in the open directory, which outlives this object:
    // ".out.pcap.seamtool-k3vq0x7m2b", never above 128 bytes. Creating the file is the caller's.
    // There is no name when the system gives no random bytes. Throws std::bad_alloc.
    TemporaryName(int directory, std::string_view name);

    // The name moves; the other object has none from then on.
    TemporaryName(TemporaryName&& other) noexcept;
    TemporaryName& operator=(TemporaryName&& other) noexcept;
    TemporaryName(const TemporaryName&) = delete;
    TemporaryName& operator=(const TemporaryName&) = delete;
    ~TemporaryName() { static_cast<void>(Remove()); }

    // There is a name: Get gives it, relative to the directory, until it is removed.
    explicit operator bool() const { return m_Slot != nullptr; }
    [[nodiscard]] const char* Get() const;

    // Removes the file of that name, if there is one, and ends the name. Gives an errno value, 0
    // when no file has the name now.
    [[nodiscard]] int Remove() noexcept;

    // Removes the files of all names. For the handler of a signal that ends the process: it
    // allocates nothing, takes no lock, and leaves errno as it was.
    static void RemoveAll() noexcept;

 private:
    struct Slot;
    struct Chunk;

    static Chunk m_FirstChunk;

    Slot* m_Slot = nullptr;
};

// The longest beginning of `name` of at most `most` bytes that cuts no UTF-8 character.
[[nodiscard]] VELORA_API std::string_view BeginningOf(std::string_view name, std::size_t most);

}  // namespace velora::output
