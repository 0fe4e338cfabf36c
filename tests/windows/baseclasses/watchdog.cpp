#include "watchdog.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

Watchdog::Watchdog(std::chrono::seconds allowed) : m_allowed(allowed), m_thread([this] { watch(); }) {}

Watchdog::~Watchdog()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_changed.notify_all();
    m_thread.join();
}

void Watchdog::OnTestStart(const testing::TestInfo& info)
{
    setTest(std::string(info.test_suite_name()) + "." + info.name());
}

void Watchdog::OnTestEnd(const testing::TestInfo&)
{
    setTest({});
}

void Watchdog::setTest(std::string name)
{
    {
        const std::lock_guard lock(m_mutex);
        m_test = std::move(name);
    }
    m_changed.notify_all();
}

void Watchdog::watch()
{
    std::unique_lock lock(m_mutex);
    while (!m_ending) {
        // Every start and end of a test wakes it: only one that lasts lets the time run out.
        if (m_changed.wait_for(lock, m_allowed) == std::cv_status::no_timeout || m_test.empty())
            continue;
        std::fprintf(stderr, "HUNG: %s took longer than %lld s\n", m_test.c_str(),
                     static_cast<long long>(m_allowed.count()));
        std::fflush(stderr);
        std::_Exit(3);
    }
}
