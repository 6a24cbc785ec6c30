// <iostream> comes first on purpose: its initialiser makes the standard streams before the logger.
#include <iostream>

#include "velora/logging/logger.h"

namespace VeloLogger {

// NOLINTNEXTLINE(cert-err58-cpp): without memory for a path of 20 bytes, no program starts.
CVeloLogger GlobalLogger(LoggerMode::TemporaryFile);

}  // namespace VeloLogger
