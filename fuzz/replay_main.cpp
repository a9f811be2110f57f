// Runs a fuzz target over files or directories of inputs, so that every seed
// and every input a fuzzer ever found stays a regression test of ordinary
// builds.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::size_t runs = 0;
    auto run = [&](const fs::path& p) {
        std::ifstream in(p, std::ios::binary);
        std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
        ++runs;
    };
    for (int i = 1; i < argc; ++i) {
        const fs::path p(argv[i]);
        if (fs::is_directory(p)) {
            for (const auto& e : fs::recursive_directory_iterator(p))
                if (e.is_regular_file()) run(e.path());
        } else {
            run(p);
        }
    }
    std::printf("replayed %zu inputs\n", runs);
    return runs ? 0 : 1;
}
