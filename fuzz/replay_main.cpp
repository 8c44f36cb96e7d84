// Feeds files, and the files of directories, to a harness: the harness without its fuzzer. Prints how many
// inputs ran; none at all is an error.
#include "fuzz_common.h"

#include <algorithm>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fs = std::filesystem;

namespace {

std::vector<fs::path> filesOf(const fs::path& path) {
    if (!fs::is_directory(path))
        return {fs::absolute(path)};
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(path))
        files.push_back(fs::absolute(entry.path()));
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace

int main(int argc, char** argv) {
    std::vector<fs::path> files; // absolute, since a harness may change the working directory
    for (int i = 1; i < argc; ++i)
        for (const fs::path& file : filesOf(argv[i]))
            files.push_back(file);
    for (const fs::path& file : files) {
        std::ifstream stream(file, std::ios::binary);
        const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
        if (!stream)
            return fprintf(stderr, "ERR: cannot read %s\n", file.c_str()), 1;
        fprintf(stderr, "%s\n", file.filename().c_str()); // unbuffered: the last one named is the culprit
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
