#include <streams.h>

#include <algorithm>
#include <utility>

#include "tools/common/com_boundary.h"
#include "tools/demultiplexer/pid_map.h"

namespace demux {
namespace {

class EnumPidMap final : public CUnknown, public IEnumPIDMap
{
public:
    EnumPidMap(std::vector<PID_MAP> entries, std::size_t position)
        : CUnknown(TEXT("PID map enumerator"), nullptr), entries_(std::move(entries)), position_(position)
    {
    }

    DECLARE_IUNKNOWN

    STDMETHODIMP NonDelegatingQueryInterface(REFIID riid, void** ppv) override
    {
        if (riid == __uuidof(IEnumPIDMap))
            return GetInterface(static_cast<IEnumPIDMap*>(this), ppv);
        return CUnknown::NonDelegatingQueryInterface(riid, ppv);
    }

    STDMETHODIMP Next(ULONG count, PID_MAP* entries, ULONG* received) override
    {
        if (entries == nullptr || (received == nullptr && count != 1))
            return E_POINTER;
        const std::size_t given = std::min<std::size_t>(count, entries_.size() - position_);
        std::copy_n(entries_.begin() + static_cast<std::ptrdiff_t>(position_), given, entries);
        position_ += given;
        if (received != nullptr)
            *received = static_cast<ULONG>(given);
        return given == count ? S_OK : S_FALSE;
    }

    STDMETHODIMP Skip(ULONG count) override
    {
        const std::size_t skipped = std::min<std::size_t>(count, entries_.size() - position_);
        position_ += skipped;
        return skipped == count ? S_OK : S_FALSE;
    }

    STDMETHODIMP Reset() override
    {
        position_ = 0;
        return S_OK;
    }

    STDMETHODIMP Clone(IEnumPIDMap** clone) override
    {
        if (clone == nullptr)
            return E_POINTER;
        *clone = nullptr;
        return comBoundary([this, clone] { return create(entries_, position_, clone); });
    }

    static HRESULT create(std::vector<PID_MAP> entries, std::size_t position, IEnumPIDMap** enumerator)
    {
        auto* object = new EnumPidMap(std::move(entries), position);
        object->AddRef();
        *enumerator = object;
        return S_OK;
    }

private:
    std::vector<PID_MAP> entries_;
    std::size_t position_;
};

}  // namespace

HRESULT createPidMapEnumerator(std::vector<PID_MAP> entries, IEnumPIDMap** enumerator)
{
    return EnumPidMap::create(std::move(entries), 0, enumerator);
}

}  // namespace demux
