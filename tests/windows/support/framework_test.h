/// @file
/// What tests of filters built on the framework share.
#pragma once

#include <gtest/gtest.h>

#include <streams.h>

namespace zarnow::test {

/// Fails a test that leaves objects of the framework behind.
class FrameworkTest : public ::testing::Test
{
protected:
    /// After the members of the fixtures that derive from this one are gone.
    ~FrameworkTest() override { EXPECT_EQ(before_, CBaseObject::ObjectsActive()) << "objects left behind"; }

private:
    const LONG before_ = CBaseObject::ObjectsActive();
};

/// References on an object.
inline ULONG references(IUnknown* object)
{
    object->AddRef();
    return object->Release();
}

inline CMediaType mediaType(const GUID& major, const GUID& subtype, ULONG sampleSize = 1)
{
    CMediaType type(&major);
    type.SetSubtype(&subtype);
    type.SetSampleSize(sampleSize);
    return type;
}

inline CMediaType transportStreamType()
{
    return mediaType(MEDIATYPE_Stream, MEDIASUBTYPE_MPEG2_TRANSPORT, 188);
}

}  // namespace zarnow::test
