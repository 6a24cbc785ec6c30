#include "app/exact_descriptors.h"

#include <unistd.h>

using velora::exact::ExactJob;
using velora::exact::InputName;

std::string FaultOfTerminals(const ExactJob& job) {
    for (const InputName& input : job.inputs) {
        if (input.isStandardInput && isatty(STDIN_FILENO) == 1) {
            return "standard input is a terminal, which gives no capture";
        }
    }
    if (job.output == "-" && isatty(STDOUT_FILENO) == 1) {
        return "standard output is a terminal, which a capture would upset: redirect it";
    }
    return {};
}
