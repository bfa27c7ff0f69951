#include "Corpus.h"
#include "FilterBench.h"
#include "Flood.h"
#include "RulesBench.h"
#include "SearchBench.h"
#include "SshBench.h"

#include "core/reader/LogReader.h"
#include "foundation/FilePath.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

namespace korvane::bench {
namespace {

/// Indexes the file once. Prints "seconds lines heap-bytes".
int index(const char* path) {
    const auto reader = LogReader::createReader(fileUrlFromPath(path));
    const auto start = std::chrono::steady_clock::now();
    reader->refresh();
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
    std::printf("%.6f %lld %zu\n", took.count(), static_cast<long long>(reader->lineCount()),
                reader->indexHeapBytes());
    return reader->lineCount() > 1 ? EXIT_SUCCESS : EXIT_FAILURE;
}

int generate(const char* path, const char* bytes, const char* seed, Corpus kind) {
    return writeCorpus(path, std::strtoull(bytes, nullptr, 10), std::strtoull(seed, nullptr, 10), kind)
               ? EXIT_SUCCESS
               : EXIT_FAILURE;
}

/// Writes lines that contain only their own number and a short text.
int number(const char* path, const char* count) {
    std::FILE* file = std::fopen(path, "wb");
    if (!file)
        return EXIT_FAILURE;
    const auto lines = std::strtoull(count, nullptr, 10);
    for (unsigned long long line = 1; line <= lines; ++line)
        std::fprintf(file, "%llu INFO a short line\n", line);
    return std::fclose(file) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace
} // namespace korvane::bench

int main(int argc, char** argv) {
    const std::string_view command = argc > 1 ? argv[1] : "";
    if (command == "index" && argc == 3)
        return korvane::bench::index(argv[2]);
    if ((command == "generate" || command == "generate-mixed") && argc == 5)
        return korvane::bench::generate(argv[2], argv[3], argv[4],
                                        command == "generate" ? korvane::bench::Corpus::Plain
                                                              : korvane::bench::Corpus::Mixed);
    if (command == "number" && argc == 4)
        return korvane::bench::number(argv[2], argv[3]);
    if (command == "flood" && argc == 5)
        return korvane::bench::flood(argv[2], std::strtoull(argv[3], nullptr, 10),
                                     std::strtoull(argv[4], nullptr, 10));
    if (command == "search" && argc == 4)
        return korvane::bench::search(argv[2], argv[3]);
    if (command == "filter" && argc > 4)
        return korvane::bench::filter(argv[2], argv[3], argc - 4, argv + 4);
    if (command == "line-set" && argc == 3)
        return korvane::bench::lineSet(std::strtod(argv[2], nullptr));
    if (command == "ssh" && argc == 7)
        return korvane::bench::ssh(static_cast<std::uint16_t>(std::strtoul(argv[2], nullptr, 10)), argv[3],
                                   argv[4], argv[5], static_cast<int>(std::strtol(argv[6], nullptr, 10)));
    if (command == "rules-page" && argc == 3)
        return korvane::bench::rulesPage(argv[2]);
    if (command == "rules-slow" && argc == 4)
        return korvane::bench::rulesSlow(argv[2], static_cast<int>(std::strtol(argv[3], nullptr, 10)));
    if (command == "rules-engines" && argc == 3)
        return korvane::bench::rulesEngines(argv[2]);
    std::fprintf(stderr, "usage: korvane_bench index FILE\n"
                         "       korvane_bench generate[-mixed] FILE BYTES SEED\n"
                         "       korvane_bench number FILE LINES\n"
                         "       korvane_bench flood FILE BYTES_PER_SECOND SECONDS\n"
                         "       korvane_bench search FILE TEXT\n"
                         "       korvane_bench filter FILE text|pattern SEARCH...\n"
                         "       korvane_bench line-set DENSITY\n"
                         "       korvane_bench ssh PORT USER PRIVATE_KEY COMMAND COUNT\n"
                         "       korvane_bench rules-page FILE\n"
                         "       korvane_bench rules-slow FILE COUNT\n"
                         "       korvane_bench rules-engines FILE\n");
    return 2;
}
