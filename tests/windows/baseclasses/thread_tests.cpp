// The worker thread's commands.

#include <atomic>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <streams.h>

#include "tests/windows/support/hresult.h"

namespace zarnow::test {

namespace {

/// Answers each command with its double and ends on 0; 99 makes it end without an answer.
struct Doubler : CAMThread
{
    ~Doubler() override { end(); }
    void end()
    {
        if (ThreadExists())
            CallWorker(0);
        Close();
    }
    DWORD ThreadProc() override
    {
        ownCall = CallWorker(1);
        do {
            requests.push_back(GetRequest());
            if (requests.back() == 99)
                return 1;
            Reply(requests.back() * 2);
        } while (requests.back() != 0);
        return 0;
    }

    DWORD ownCall = 0;
    std::vector<DWORD> requests;
};

TEST(Thread, AnswersOneCommandAtATime)
{
    Doubler worker;
    EXPECT_HRESULT(E_FAIL, worker.CallWorker(1)) << "nobody is there yet";
    ASSERT_TRUE(worker.Create());
    EXPECT_FALSE(worker.Create()) << "there is one already";
    std::vector<std::jthread> callers;
    std::atomic<int> wrong{0};
    for (DWORD caller = 1; caller <= 4; ++caller)
        callers.emplace_back([&, caller] {
            for (DWORD i = 1; i <= 50; ++i)
                wrong += worker.CallWorker(caller * 100 + i) != 2 * (caller * 100 + i);
        });
    callers.clear();
    EXPECT_EQ(0, wrong);
    worker.end();
    EXPECT_FALSE(worker.ThreadExists());
    EXPECT_HRESULT(E_FAIL, worker.ownCall) << "it cannot wait for its own answer";
}

TEST(Thread, AWorkerThatEndsWithoutAnAnswerKeepsNobodyWaiting)
{
    Doubler worker;
    ASSERT_TRUE(worker.Create());
    EXPECT_HRESULT(E_FAIL, worker.CallWorker(99));
    EXPECT_HRESULT(E_FAIL, worker.CallWorker(2)) << "nobody is there any more";
    worker.Close();
    ASSERT_TRUE(worker.Create());
    Sleep(20);
    EXPECT_EQ(6u, worker.CallWorker(3));
    worker.end();
    EXPECT_EQ((std::vector<DWORD>{99, 3, 0}), worker.requests) << "the unanswered commands are forgotten";
}

}  // namespace

}  // namespace zarnow::test
