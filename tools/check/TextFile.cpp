#include "TextFile.h"

#include <fstream>
#include <iterator>

namespace check {

std::optional<std::string> readFile(const std::string& path) {
    std::ifstream file(path);
    if (!file)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

std::string contentOf(const std::string& path) { return readFile(path).value_or(""); }

} // namespace check
