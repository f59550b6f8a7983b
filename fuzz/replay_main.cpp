// SPDX-License-Identifier: GPL-3.0-or-later
// Copyright The Quorvel developers

// Runs a fuzz target's LLVMFuzzerTestOneInput over files, without libFuzzer: the normal build's
// regression test of each target's seeds and of every input a fuzzer once failed on. Each
// argument is a file or a folder of files. A target that fails an input aborts, which fails
// the test; so does an argument that is missing, and a run over no file at all.
//
// As under libFuzzer (-rss_limit_mb=2048, which also bounds a single allocation), asking for
// more than 2 GiB at once fails the run: such a request is a finding even where the system
// would grant it. So does an input that takes more than two minutes (libFuzzer's -timeout is
// ten seconds; the sanitizer build is slower).

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

#if defined(__SANITIZE_ADDRESS__)
#define QUORVEL_REPLAY_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUORVEL_REPLAY_ASAN 1
#endif
#endif

#ifdef QUORVEL_REPLAY_ASAN
// AddressSanitizer reads these before the environment's ASAN_OPTIONS, which can still add to
// them; an allocation over the limit is then reported, and aborts.
extern "C" const char *__asan_default_options()
{
    return "max_allocation_size_mb=2048:allocator_may_return_null=0";
}
#endif

namespace {

constexpr unsigned InputSeconds = 120;

// Without AddressSanitizer: no more address space than the process holds now and 2 GiB, so
// that a larger request fails (and Qt's containers abort when an allocation fails).
void limitAllocations()
{
#ifndef QUORVEL_REPLAY_ASAN
    std::ifstream statm("/proc/self/statm");
    unsigned long long pages = 0;
    if (!(statm >> pages))
        return;
    const rlimit limit{rlim_t(pages * 4096 + (2048ULL << 20)), RLIM_INFINITY};
    setrlimit(RLIMIT_AS, &limit);
#endif
}

bool readFile(const std::filesystem::path &path, std::vector<uint8_t> *bytes)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    bytes->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

} // namespace

int main(int argc, char **argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    limitAllocations();

    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path path(argv[i]);
        std::error_code error;
        if (std::filesystem::is_directory(path, error)) {
            for (const auto &entry : std::filesystem::directory_iterator(path, error)) {
                if (entry.is_regular_file())
                    files.push_back(entry.path());
            }
        } else if (std::filesystem::is_regular_file(path, error)) {
            files.push_back(path);
        } else {
            std::fprintf(stderr, "replay: no such file or folder: %s\n", argv[i]);
            return 2;
        }
    }
    if (files.empty()) {
        std::fprintf(stderr, "replay: no input to run\n");
        return 2;
    }
    // The same order on every run, whatever the folder's.
    std::sort(files.begin(), files.end());

    for (const std::filesystem::path &file : files) {
        std::vector<uint8_t> bytes;
        if (!readFile(file, &bytes)) {
            std::fprintf(stderr, "replay: cannot read %s\n", file.c_str());
            return 2;
        }
        std::fprintf(stderr, "replay: %s (%zu bytes)\n", file.c_str(), bytes.size());
        // libFuzzer never hands over a null pointer, not even for an empty input.
        const uint8_t empty = 0;
        // SIGALRM ends the process, and the test fails naming the input above.
        alarm(InputSeconds);
        LLVMFuzzerTestOneInput(bytes.empty() ? &empty : bytes.data(), bytes.size());
        alarm(0);
    }
    std::fprintf(stderr, "replay: %zu input(s) passed\n", files.size());
    return 0;
}
