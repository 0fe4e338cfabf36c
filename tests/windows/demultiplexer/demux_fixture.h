#pragma once

#include <gtest/gtest.h>

#include <bdaiface.h>

#include "tests/windows/demultiplexer/graph_filters.h"
#include "tests/windows/support/hresult.h"
#include "tools/demultiplexer/demultiplexer.h"

namespace graphs {

/// The demultiplexer between a source and two sinks; nothing may be left of any of them at the end.
class DemuxTest : public testing::Test
{
protected:
    void SetUp() override
    {
        objectsBefore_ = CBaseObject::ObjectsActive();
        source_ = new Source;
        first_ = new Sink;
        second_ = new Sink;
        ASSERT_HRESULT(S_OK, demux::createDemultiplexer(filter_.GetAddressOf()));
        ASSERT_HRESULT(S_OK, filter_->QueryInterface(IID_IMpeg2Demultiplexer,
                                                     reinterpret_cast<void**>(demultiplexer_.GetAddressOf())));
        input_ = findPin(*filter_.Get(), PINDIR_INPUT);
    }

    void TearDown() override
    {
        stop();
        disconnect(source_->pin);
        disconnect(first_->pin);
        disconnect(second_->pin);
        input_.Reset();
        demultiplexer_.Reset();
        filter_.Reset();
        source_.Reset();
        first_.Reset();
        second_.Reset();
        EXPECT_EQ(objectsBefore_, CBaseObject::ObjectsActive()) << "objects are left";
    }

    static void disconnect(CBasePin& pin)
    {
        ComPtr<IPin> peer;
        if (FAILED(pin.ConnectedTo(peer.GetAddressOf())))
            return;
        peer->Disconnect();
        pin.Disconnect();
    }

    ComPtr<IPin> createPin(const wchar_t* name, ULONG sampleSize = 1)
    {
        CMediaType type = pinType(sampleSize);
        ComPtr<IPin> pin;
        EXPECT_HRESULT(S_OK, demultiplexer_->CreateOutputPin(&type, const_cast<LPWSTR>(name), pin.GetAddressOf()));
        return pin;
    }

    static ComPtr<IMPEG2PIDMap> mapOf(IPin& pin)
    {
        ComPtr<IMPEG2PIDMap> map;
        EXPECT_HRESULT(S_OK, pin.QueryInterface(__uuidof(IMPEG2PIDMap), reinterpret_cast<void**>(map.GetAddressOf())));
        return map;
    }

    static void map(IPin& pin, ULONG pid, MEDIA_SAMPLE_CONTENT content)
    {
        EXPECT_HRESULT(S_OK, mapOf(pin)->MapPID(1, &pid, content));
    }

    /// A connected pin for one PID.
    ComPtr<IPin> connectPin(const wchar_t* name, ULONG pid, MEDIA_SAMPLE_CONTENT content, Sink& sink)
    {
        const ComPtr<IPin> pin = createPin(name);
        map(*pin.Get(), pid, content);
        EXPECT_HRESULT(S_OK, pin->Connect(&sink.pin, nullptr));
        return pin;
    }

    void connectSource() { ASSERT_HRESULT(S_OK, source_->pin.Connect(input_.Get(), nullptr)); }

    void run()
    {
        for (IBaseFilter* each : {static_cast<IBaseFilter*>(first_.Get()), static_cast<IBaseFilter*>(second_.Get()),
                                  filter_.Get(), static_cast<IBaseFilter*>(source_.Get())})
            ASSERT_HRESULT(S_OK, each->Run(0));
    }

    void stop()
    {
        for (IBaseFilter* each : {static_cast<IBaseFilter*>(source_.Get()), filter_.Get(),
                                  static_cast<IBaseFilter*>(first_.Get()), static_cast<IBaseFilter*>(second_.Get())})
            EXPECT_HRESULT(S_OK, each->Stop());
    }

    ComPtr<Source> source_;
    ComPtr<Sink> first_;
    ComPtr<Sink> second_;
    ComPtr<IBaseFilter> filter_;
    ComPtr<IMpeg2Demultiplexer> demultiplexer_;
    ComPtr<IPin> input_;

private:
    LONG objectsBefore_ = 0;
};

}  // namespace graphs
