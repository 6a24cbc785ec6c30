#include "velora/input/open_files.h"

#include <array>
#include <utility>
#include <variant>

#include <fcntl.h>

#include "velora/utils/scope_guards.h"

namespace velora::input {
namespace {

// Descriptors that are kept free while inputs take all others.
class DescriptorReserve {
 public:
    DescriptorReserve() {
        for (MiscUtils::UniqueFd& fd : m_Held) {
            fd.Reset(open("/", O_PATH | O_CLOEXEC));
        }
    }

 private:
    std::array<MiscUtils::UniqueFd, 4> m_Held;
};

}  // namespace

OpenFiles OpenAll(std::span<const capture::ByteSource> inputs, const std::stop_token& stop) {
    const DescriptorReserve reserve;
    OpenFiles opened;
    for (std::size_t input = 0; input < inputs.size() && !stop.stop_requested(); ++input) {
        auto result = capture::OpenInput(inputs[input]);
        if (auto* const problem = std::get_if<capture::Problem>(&result)) {
            opened.failures.push_back({input, std::move(*problem)});
        } else {
            opened.files.push_back(std::move(std::get<capture::InputFile>(result)));
            opened.inputOf.push_back(input);
        }
    }
    return opened;
}

}  // namespace velora::input
