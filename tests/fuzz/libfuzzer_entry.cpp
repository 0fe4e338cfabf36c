// libFuzzer's way into the target that ZARNOW_FUZZ_TARGET names.

#include "tests/fuzz/mutator.h"

using zarnow::fuzz::ZARNOW_FUZZ_TARGET;

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ZARNOW_FUZZ_TARGET.run({data, size});
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t room, unsigned seed)
{
    const auto changed = zarnow::fuzz::mutated(ZARNOW_FUZZ_TARGET, {data, data + size}, room, seed, LLVMFuzzerMutate);
    std::copy(changed.begin(), changed.end(), data);
    return changed.size();
}
