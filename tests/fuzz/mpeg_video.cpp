// An MPEG video sequence header with its matrices and its extension, anywhere in a payload.

#include "esparse/mpeg_video_header.h"
#include "tests/fuzz/plain_writes.h"
#include "tests/support/random_headers.h"

namespace zarnow::fuzz {

namespace {

void requireHeaderBytes(const VideoProbeRecord& record, Bytes header)
{
    const std::uint32_t length = record.sequenceHeaderLength;
    require(length <= std::min(header.size(), kMaxSequenceHeaderSize), "a header longer than its bytes");
    require(std::equal(header.begin(), header.begin() + length, record.sequenceHeader.begin()), "other bytes");
}

void run(Bytes input)
{
    const test::ExactBuffer payload(input);
    require(sequenceHeaderSize(payload.data(), payload.length()) <= kMaxSequenceHeaderSize, "no such size");
    requirePlainWrites<VideoProbeRecord>(
        [&](VideoProbeRecord& record) { return findSequenceHeader(payload.data(), payload.length(), record); });
    requirePlainWrites<VideoProbeRecord>([&](VideoProbeRecord& record) {
        const bool parsed = parseSequenceHeader(payload.data(), payload.length(), record);
        if (parsed)
            requireHeaderBytes(record, input);
        return parsed;
    });
}

}  // namespace

const Target mpeg_videoTarget{"mpeg_video", Layout::bytes, run, test::randomSequenceHeader};

}  // namespace zarnow::fuzz
