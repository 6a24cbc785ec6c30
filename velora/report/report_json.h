// The report of a run for programs: one JSON document (RFC 8259), in UTF-8. docs/report.schema.json
// says what is in it.
//
// Times are UTC with nine digits ("2026-11-21T03:40:35.459742000Z"), so that nothing is lost where
// numbers are doubles. A path, an option or a message is given as it is. In one that is no valid
// UTF-8 each byte that belongs to none stands as \xNN, and a second member, with "Bytes" behind its
// name, has all its bytes as hexadecimal digits.

#pragma once

#include <string>

#include "velora/exact/run_report.h"
#include "velora/utils/api.h"

namespace velora::report {

// The document, which ends with a line end.
[[nodiscard]] VELORA_API std::string ReportJson(const exact::RunSetting& setting,
                                                const exact::RunReport& report);

}  // namespace velora::report
