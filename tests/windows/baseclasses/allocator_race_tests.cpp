// A sample comes back in the very moment in which somebody else asks for it, or the allocator is decommitted: nobody
// waits for a sample that is there, and none is lost. A wait that does not end is the watchdog's.

#include <atomic>
#include <thread>

#include "com_ptr.h"
#include "tests/windows/support/framework_test.h"
#include "tests/windows/support/hresult.h"

namespace zarnow::test {

namespace {

constexpr int kRounds = 20000;

void spin(int turns)
{
    for (int i = 0; i < turns; ++i)
        YieldProcessor();
}

/// Two threads meet here, again and again.
class Meeting
{
public:
    void arrive()
    {
        const int next = (arrived_ / 2 + 1) * 2;
        ++arrived_;
        while (arrived_ < next)
            YieldProcessor();
    }

private:
    std::atomic<int> arrived_ = 0;
};

class AllocatorRace : public FrameworkTest
{
protected:
    AllocatorRace()
    {
        CreateMemoryAllocator(allocator.put());
        setProperties();
    }
    HRESULT setProperties()
    {
        ALLOCATOR_PROPERTIES properties{1, 188, 1, 0};
        return allocator->SetProperties(&properties, &properties);
    }
    /// In every round the one sample is out; it comes back while another thread does something.
    template <class Other>
    void meanwhile(Other other)
    {
        Meeting meeting;
        std::thread thread([&] {
            for (int round = 0; round < kRounds; ++round) {
                meeting.arrive();
                other();
                meeting.arrive();
            }
        });
        for (int round = 0; round < kRounds; ++round) {
            allocator->Commit();
            ComPtr<IMediaSample> sample;
            EXPECT_HRESULT(S_OK, allocator->GetBuffer(sample.put(), nullptr, nullptr, 0));
            meeting.arrive();
            spin(round % 64);
            sample.reset();
            meeting.arrive();
            EXPECT_HRESULT(S_OK, allocator->Decommit());
            EXPECT_HRESULT(S_OK, setProperties());  // refused while a sample is missing
        }
        thread.join();
    }

    ComPtr<IMemAllocator> allocator;
};

TEST_F(AllocatorRace, ASampleComesBackWhileItIsAskedFor)
{
    meanwhile([&] {
        ComPtr<IMediaSample> sample;
        EXPECT_HRESULT(S_OK, allocator->GetBuffer(sample.put(), nullptr, nullptr, 0));
    });
}

TEST_F(AllocatorRace, ASampleComesBackWhileItsAllocatorIsDecommitted)
{
    meanwhile([&] { EXPECT_HRESULT(S_OK, allocator->Decommit()); });
}

}  // namespace

}  // namespace zarnow::test
