#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>

namespace {

/// Ends the program, naming the test, when one test takes longer than 30 s.
class TestWatchdog final : public testing::EmptyTestEventListener
{
public:
    TestWatchdog() : thread_([this] { watch(); }) {}

    ~TestWatchdog() override
    {
        change({}, true);
        thread_.join();
    }

    void OnTestStart(const testing::TestInfo& test) override
    {
        change(std::string(test.test_suite_name()) + "." + test.name(), false);
    }

    void OnTestEnd(const testing::TestInfo&) override { change({}, false); }

private:
    void change(std::string running, bool ended)
    {
        {
            const std::lock_guard lock(mutex_);
            running_ = std::move(running);
            ended_ = ended;
            ++changes_;
        }
        changed_.notify_one();
    }

    void watch()
    {
        std::unique_lock lock(mutex_);
        while (!ended_) {
            const unsigned seen = changes_;
            const bool moved = changed_.wait_for(lock, std::chrono::seconds(30), [&] { return changes_ != seen; });
            if (!moved && !running_.empty()) {
                std::fprintf(stderr, "%s takes longer than 30 s: given up\n", running_.c_str());
                std::_Exit(EXIT_FAILURE);
            }
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string running_;
    unsigned changes_ = 0;
    bool ended_ = false;
    std::thread thread_;
};

}  // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new TestWatchdog);  // which takes ownership
    return RUN_ALL_TESTS();
}
