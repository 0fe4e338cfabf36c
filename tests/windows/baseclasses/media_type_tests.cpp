// Media types: ownership, comparison, matching.

#include <cstring>
#include <functional>

#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"

namespace zarnow::test {

namespace {

class MediaType : public FrameworkTest
{
protected:
    /// A type with every kind of content; counts its references on m_unknown.
    CMediaType full()
    {
        CMediaType type(&MEDIATYPE_Video);
        type.SetSubtype(&MEDIASUBTYPE_RGB24);
        type.SetFormatType(&FORMAT_VideoInfo);
        BYTE format[] = {1, 2, 3, 4, 5};
        EXPECT_TRUE(type.SetFormat(format, sizeof format));
        type.SetTemporalCompression(TRUE);
        type.SetSampleSize(4711);
        type.pUnk = &m_unknown;
        m_unknown.AddRef();
        return type;
    }

    struct Unknown : CUnknown, IPersist
    {
        DECLARE_IUNKNOWN
        Unknown() : CUnknown(nullptr, nullptr) { NonDelegatingAddRef(); }
        STDMETHODIMP GetClassID(CLSID*) override { return E_NOTIMPL; }
    } m_unknown;
};

TEST_F(MediaType, StartsAsFixedSizeSamplesOfOneByte)
{
    const CMediaType type;
    EXPECT_FALSE(type.IsValid());
    EXPECT_TRUE(type.IsFixedSize());
    EXPECT_EQ(1u, type.GetSampleSize());
    EXPECT_FALSE(type.IsTemporalCompressed());
    EXPECT_EQ(0u, type.FormatLength());
    EXPECT_EQ(nullptr, type.Format());
    CMediaType variable;
    variable.SetSampleSize(0);
    EXPECT_FALSE(variable.IsFixedSize());
    EXPECT_EQ(0u, variable.GetSampleSize());
}

TEST_F(MediaType, EveryCopyOwnsItsFormatAndReference)
{
    {
        const CMediaType source = full();
        CMediaType copies[4] = {source, CMediaType(static_cast<const AM_MEDIA_TYPE&>(source)), {}, {}};
        copies[2] = source;
        copies[3] = copies[3];
        AM_MEDIA_TYPE* const heap = CreateMediaType(&source);
        copies[3] = *heap;
        DeleteMediaType(heap);
        for (const CMediaType& copy : copies) {
            EXPECT_TRUE(copy == source);
            EXPECT_NE(copy.Format(), source.Format());
            EXPECT_EQ(4711u, copy.GetSampleSize());
            EXPECT_TRUE(copy.IsTemporalCompressed());
            EXPECT_EQ(&m_unknown, copy.pUnk);
        }
        copies[1] = *&copies[1];
        EXPECT_EQ(5u, copies[1].FormatLength()) << "assignment to itself";
        EXPECT_EQ(6u, references(static_cast<IPersist*>(&m_unknown)));
    }
    EXPECT_EQ(1u, references(static_cast<IPersist*>(&m_unknown)));
    DeleteMediaType(nullptr);
}

TEST_F(MediaType, ALengthWithoutABlockIsNoFormat)
{
    AM_MEDIA_TYPE broken{};
    broken.cbFormat = 100;
    const CMediaType type(broken);
    EXPECT_EQ(0u, type.FormatLength());
    CMediaType other;
    EXPECT_FALSE(other.SetFormat(nullptr, 4));
    EXPECT_EQ(0u, other.FormatLength());
    other.Set(broken);
    EXPECT_EQ(0u, other.FormatLength());
}

TEST_F(MediaType, EqualityIsTheGuidsAndTheFormat)
{
    const CMediaType base = full();
    struct Change
    {
        const char* what;
        std::function<void(CMediaType&)> apply;
        bool equal;
    };
    const Change changes[] = {
        {"nothing", [](CMediaType&) {}, true},
        {"sample size", [](CMediaType& t) { t.SetVariableSize(); }, true},
        {"temporal compression", [](CMediaType& t) { t.SetTemporalCompression(FALSE); }, true},
        {"major type", [](CMediaType& t) { t.SetType(&MEDIATYPE_Audio); }, false},
        {"subtype", [](CMediaType& t) { t.SetSubtype(&MEDIASUBTYPE_RGB32); }, false},
        {"format type", [](CMediaType& t) { t.SetFormatType(&FORMAT_VideoInfo2); }, false},
        {"a byte of the format", [](CMediaType& t) { t.Format()[4] ^= 1; }, false},
        {"the format's length", [](CMediaType& t) { t.ReallocFormatBuffer(4); }, false},
        {"the format", [](CMediaType& t) { t.ResetFormatBuffer(); }, false},
    };
    for (const Change& change : changes) {
        CMediaType other = base;
        change.apply(other);
        EXPECT_EQ(change.equal, (base == other) != FALSE) << change.what;
        EXPECT_EQ(!change.equal, (base != other) != FALSE) << change.what;
    }
}

TEST_F(MediaType, APartialTypeMatchesWhatItNames)
{
    const CMediaType type = full();
    CMediaType wanted;
    EXPECT_TRUE(wanted.IsPartiallySpecified());
    EXPECT_TRUE(type.MatchesPartial(&wanted)) << "anything";
    wanted.SetType(&MEDIATYPE_Video);
    EXPECT_TRUE(type.MatchesPartial(&wanted));
    wanted.SetSubtype(&MEDIASUBTYPE_RGB32);
    EXPECT_FALSE(type.MatchesPartial(&wanted));
    wanted.SetSubtype(&MEDIASUBTYPE_RGB24);
    EXPECT_TRUE(wanted.IsPartiallySpecified()) << "no format yet";
    wanted.SetFormatType(&FORMAT_VideoInfo);
    EXPECT_FALSE(wanted.IsPartiallySpecified());
    EXPECT_FALSE(type.MatchesPartial(&wanted)) << "a named format has to be the same one";
    wanted.SetFormat(type.Format(), type.FormatLength());
    EXPECT_TRUE(type.MatchesPartial(&wanted));
}

TEST_F(MediaType, FormatBuffersGrowAndShrink)
{
    CMediaType type;
    BYTE* const block = type.AllocFormatBuffer(8);
    std::memcpy(block, "12345678", 8);
    EXPECT_EQ(block, type.AllocFormatBuffer(8)) << "the size is there";
    EXPECT_EQ(0, std::memcmp(type.ReallocFormatBuffer(16), "12345678", 8));
    EXPECT_EQ(16u, type.FormatLength());
    EXPECT_EQ(0, std::memcmp(type.ReallocFormatBuffer(3), "123", 3));
    EXPECT_TRUE(type.SetFormat(type.Format() + 1, 2)) << "from its own block";
    EXPECT_EQ(0, std::memcmp(type.Format(), "23", 2));
    EXPECT_TRUE(type.SetFormat(nullptr, 0));
    EXPECT_EQ(nullptr, type.Format());
}

TEST_F(MediaType, AudioTypesComeFromWaveFormats)
{
    struct
    {
        WAVEFORMATEX wave{0x2000, 2, 48000, 24000, 768, 0, 4};
        BYTE extra[4] = {9, 8, 7, 6};
    } ac3;
    CMediaType type;
    ASSERT_HRESULT(S_OK, CreateAudioMediaType(&ac3.wave, &type, TRUE));
    EXPECT_EQ(MEDIATYPE_Audio, type.majortype);
    const GUID expected = {0x2000, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}};
    EXPECT_EQ(expected, type.subtype);
    EXPECT_EQ(FORMAT_WaveFormatEx, type.formattype);
    EXPECT_EQ(768u, type.GetSampleSize());
    ASSERT_EQ(sizeof(WAVEFORMATEX) + 4, type.FormatLength());
    EXPECT_EQ(0, std::memcmp(type.Format() + sizeof(WAVEFORMATEX), ac3.extra, 4));
    FreeMediaType(type);
    // The extra size of a PCM format is often left unset.
    const WAVEFORMATEX pcm{WAVE_FORMAT_PCM, 2, 48000, 192000, 4, 16, 0xCCCC};
    ASSERT_HRESULT(S_OK, CreateAudioMediaType(&pcm, &type, TRUE));
    EXPECT_EQ(sizeof(WAVEFORMATEX), type.FormatLength());
    EXPECT_HRESULT(E_POINTER, CreateAudioMediaType(nullptr, &type, TRUE));
}

TEST_F(MediaType, FourCharacterCodesAreGuids)
{
    FOURCCMap map(MAKEFOURCC('H', '2', '6', '4'));
    const GUID h264 = {0x34363248, 0, 0x10, {0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}};
    EXPECT_EQ(h264, map);
    EXPECT_EQ(0x34363248u, FOURCCMap(&h264).GetFOURCC());
}

}  // namespace

}  // namespace zarnow::test
