#include "tools/tsprobe/inspection.h"

#include <system_error>

#include "tools/tsprobe/text_tables.h"

#ifdef _WIN32
#include "tools/common/utf8.h"
#endif

namespace tsprobe {

namespace {

using zarnow::LoadResult;

constexpr std::int64_t kLeastForPacketSize = 2000;  // bytes; a packet size is found in more than these

#ifdef _WIN32
std::wstring nativePath(const std::string& path)
{
    return fromUtf8(path);
}
#else
const std::string& nativePath(const std::string& path)
{
    return path;
}
#endif

void checkLoaded(const LoadResult& result, const std::string& path)
{
    if (result.status == LoadResult::Status::cannotOpen) {
        const std::error_code error(static_cast<int>(result.systemError), std::system_category());
        throw InspectionError(path + ": cannot be opened: " + error.message());
    }
    if (result.status == LoadResult::Status::noData)
        throw InspectionError(path + ": the file is empty, or is no plain file");
}

template <class Record>
std::span<const Record> filled(std::span<const Record> records)
{
    std::size_t count = 0;
    while (count < records.size() && records[count].pid != 0)
        ++count;
    return records.first(count);
}

}  // namespace

Inspection::Inspection(const std::string& path, const Arguments& arguments) : path_(path)
{
    if (arguments.bufferSize)
        state_.setReadBufferSize(*arguments.bufferSize);
    if (arguments.defaultPids) {
        const auto& [pmt, video, videoType, audio, audioType] = *arguments.defaultPids;
        state_.setDefaultStreams(pmt, video, videoType, audio, audioType);
    }
    checkLoaded(state_.loadFile(nativePath(path).c_str()), path);
    if (!state_.analysed)
        return;
    if (arguments.program)
        select(*arguments.program);
    zarnow::AvcStreamInfo facts;
    if (state_.readVideoInfo(facts))
        avc_ = facts;
}

void Inspection::select(std::uint32_t index)
{
    if (!state_.selectProgram(index))
        throw InspectionError(path_ + ": --program " + std::to_string(index) + ": the file has " +
                              counted(state_.programList.size(), "program") + ", counted from 0");
}

std::span<const zarnow::VideoProbeRecord> Inspection::video() const
{
    return state_.analysed ? filled<zarnow::VideoProbeRecord>(state_.videoStreams)
                           : std::span<const zarnow::VideoProbeRecord>();
}

std::span<const zarnow::AudioProbeRecord> Inspection::audio() const
{
    return state_.analysed ? filled<zarnow::AudioProbeRecord>(state_.audioStreams)
                           : std::span<const zarnow::AudioProbeRecord>();
}

std::optional<std::uint32_t> Inspection::currentIndex() const
{
    std::uint32_t index = 0;
    return state_.findCurrentProgram(index) ? std::optional(index) : std::nullopt;
}

std::string Inspection::reason()
{
    const std::string layout = " Try --default-pids if you know its PIDs.";
    if (!state_.programList.empty())
        return counted(state_.programList.size(), "program") +
               " listed, but no program map table of any of them was found." + layout;
    if (state_.detectFilePacketSize())
        return "no program association table was found." + layout;
    if (state_.fileSize <= kLeastForPacketSize)
        return "the file is too short: more than 2000 bytes are needed.";
    if (state_.readBuffer == nullptr || state_.readBufferSize <= kLeastForPacketSize)
        return "the read buffer is too small, or too large to be had. Try another --buffer-size, or none.";
    return "no packet size in the first three reads of " + std::to_string(state_.readBufferSize) +
           " bytes: no sync bytes (0x47) 188 or 192 bytes apart. This is no transport stream, or its beginning is "
           "damaged; a larger --buffer-size looks further.";
}

}  // namespace tsprobe
