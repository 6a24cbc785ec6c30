// InputList: a file that names inputs, one path a line, or, when it holds a zero byte, paths that
// zero bytes separate, as find -print0 writes them.

#pragma once

#include <string>
#include <variant>
#include <vector>

// What ReadInputList found wrong.
struct ListFault {
    std::string text;
};

// The paths in the list at `path`, "-" for standard input, in order; empty lines name nothing. A
// list that cannot be read, is longer than 64 MiB or names nothing is a fault.
[[nodiscard]] std::variant<std::vector<std::string>, ListFault> ReadInputList(
    const std::string& path);

// The paths that the bytes of a list name.
[[nodiscard]] std::vector<std::string> PathsIn(const std::string& bytes);
