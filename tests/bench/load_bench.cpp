// How long the filter's analysis takes, beside a loop of plain reads over the same file with the same block size.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "esparse/program_selection.h"
#include "tests/support/difficult_files.h"
#include "tests/support/temporary_file.h"

namespace {

std::size_t g_heapInUse = 0;  // by this program's own allocations

void giveBack(void* memory) noexcept
{
    g_heapInUse -= malloc_usable_size(memory);
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size)
{
    void* memory = std::malloc(size);
    if (memory == nullptr)
        throw std::bad_alloc();
    g_heapInUse += malloc_usable_size(memory);
    return memory;
}

void operator delete(void* memory) noexcept
{
    giveBack(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    giveBack(memory);
}

namespace zarnow {
namespace {

constexpr std::size_t kDifficultSize = 100'000'000;

void readPlainly(benchmark::State& state, const std::filesystem::path& path)
{
    const auto buffer = std::make_unique<std::uint8_t[]>(kDefaultReadBufferSize);
    CTransportFile file;
    if (file.open(path.c_str()) != 0)
        throw std::runtime_error("cannot open " + path.string());
    for (auto _ : state) {
        file.moveTo(0);
        std::uint32_t count = 0;
        while (file.read(buffer.get(), kDefaultReadBufferSize, count) && count != 0)
            benchmark::DoNotOptimize(buffer.get());
    }
}

void loadInto(CProgramSelection& filter, const std::filesystem::path& path)
{
    if (filter.loadFile(path.c_str()).status != LoadResult::Status::loaded)
        throw std::runtime_error("cannot load " + path.string());
}

/// Also tells how much memory a loaded analysis takes, itself and its read buffer included.
void load(benchmark::State& state, const std::filesystem::path& path)
{
    std::size_t held = 0;
    for (auto _ : state) {
        const std::size_t before = g_heapInUse;
        CProgramSelection filter;
        loadInto(filter, path);
        held = sizeof(filter) + g_heapInUse - before;
    }
    state.counters["memory"] = static_cast<double>(held);
}

void readVideoInfo(benchmark::State& state, const std::filesystem::path& path)
{
    CProgramSelection filter;
    loadInto(filter, path);
    for (auto _ : state) {
        AvcStreamInfo info;
        benchmark::DoNotOptimize(filter.readVideoInfo(info));
    }
}

void registerFile(const std::string& name, const std::filesystem::path& path)
{
    const auto add = [&](const char* what, auto function) {
        benchmark::RegisterBenchmark((std::string(what) + "/" + name).c_str(), function, path)
            ->Unit(benchmark::kMicrosecond)
            ->UseRealTime();
    };
    add("read", readPlainly);
    add("load", load);
    if (name.starts_with("AVC"))
        add("videoInfo", readVideoInfo);
}

}  // namespace
}  // namespace zarnow

/// load_bench [options] [FILE...]: the files given, and difficult ones of 100 MB each.
int main(int argc, char** argv)
{
    using namespace zarnow;
    benchmark::Initialize(&argc, argv);
    for (int i = 1; i < argc; ++i)
        registerFile(std::filesystem::path(argv[i]).filename(), argv[i]);
    std::vector<std::unique_ptr<test::TemporaryFile>> files;
    for (const test::DifficultFile& file : test::difficultFiles()) {
        files.push_back(std::make_unique<test::TemporaryFile>(file.content(kDifficultSize)));
        registerFile(file.name, files.back()->path());
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
