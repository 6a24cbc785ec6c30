// --files-from: which inputs a list names, and what speaks against one.

#include "tests/app/exact_run.h"

namespace {

using namespace std::string_literals;
using Row = ExactRow;

constexpr std::size_t kMostBytes = std::size_t{64} << 20U;

TEST(InputListTest, NamesAnInputALineOrBetweenZeroBytes) {
    const struct {
        const char* about;
        std::string list;
        std::string inputs;
    } rows[] = {
        {"lines", "one\ntwo\n", "12"},
        {"no end behind the last", "one\ntwo", "12"},
        {"empty lines", "\n\ntwo\n\none\n\n", "21"},
        {"one named twice", "one\none\n", "11"},
        {"blanks belong to a name", "t hree\n", "3"},
        {"zero bytes", "two\0one\0"s, "21"},
        {"no zero byte behind the last", "two\0one"s, "21"},
        {"several zero bytes in a row", "\0\0one\0\0two"s, "12"},
        {"line ends belong to names once there is a zero byte", "fo\nur\0"s, "4"},
        {"a name that would be standard input", "-\n", "5"},
        {"as long as can be", "one" + std::string(kMostBytes - 3, '\0'), "1"},
    };
    const auto one = [](const char* data) { return CaptureBuilder().Record(1, 0, data).Bytes(); };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.about);
        Check({.line = "--files-from=list", .records = row.inputs}, {{"list", row.list},
                                                                     {"one", one("1")},
                                                                     {"two", one("2")},
                                                                     {"t hree", one("3")},
                                                                     {"fo\nur", one("4")},
                                                                     {"-", one("5")}});
    }
}

TEST(InputListTest, IsAWrongCommandLineWhenItNamesNothingOrCannotBeRead) {
    const std::pair<std::string, const char*> rows[] = {
        {"gone", "cannot be read: No such file or directory"},
        {"folder", "cannot be read: Is a directory"},
        {"empty", "names no input"},
        {"empty-lines", "names no input"},
        {"zero-bytes", "names no input"},
        {"a-byte-too-long", "is longer than 64 MiB"},
        {"/dev/zero", "is longer than 64 MiB"},  // without end
    };
    const std::string tooLong(kMostBytes + 1, '\0');
    for (const auto& [list, error] : rows) {
        Check({.line = "--files-from=" + list + " odd", .status = 255, .errors = {"the list " + list + " " + error}},
              {{"empty", ""}, {"empty-lines", "\n\n"}, {"zero-bytes", "\0\0"s}, {"a-byte-too-long", tooLong}});
    }
}

}  // namespace
