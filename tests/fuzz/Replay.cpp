// NAME_replay FOLDER: gives each file of a corpus to its fuzzer's function once, without libFuzzer, so that
// every build sees what was ever found. What is named last is what ended the program.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<std::filesystem::path> filesOf(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

void replay(const std::filesystem::path& file) {
    fprintf(stderr, "%s\n", file.filename().c_str());
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(stream), {});
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
    const auto files = argc == 2 ? filesOf(argv[1]) : std::vector<std::filesystem::path>();
    if (files.empty()) {
        fprintf(stderr, "%s: expected one argument, a folder with files\n", argv[0]);
        return 2;
    }
    for (const auto& file : files)
        replay(file);
    printf("%zu files\n", files.size());
    return 0;
}
