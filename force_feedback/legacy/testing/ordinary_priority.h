// For the portable tests only (Linux): makes the driver's simulation threads
// start at ordinary priority, as they do in a game run by an ordinary user,
// even when the tests run with the privilege to raise thread priorities.
//
// The driver asks for a real-time class for every simulation thread it
// starts; with that privilege the new thread preempts its starter at once
// and always runs its first pass before anything else happens, so races
// around a thread that starts late never show. Capabilities are per thread
// and new threads inherit their creator's: dropping CAP_SYS_NICE from the
// calling thread's effective set for a scope makes every simulation thread
// started from it keep normal scheduling. Nothing changes when the thread
// never had the capability.
#pragma once

#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

class OrdinaryPriorityScope {
public:
    OrdinaryPriorityScope() {
        if (!Read()) return;
        const unsigned word = CAP_TO_INDEX(CAP_SYS_NICE);
        const unsigned bit = CAP_TO_MASK(CAP_SYS_NICE);
        if (!(m_data[word].effective & bit)) return;
        m_data[word].effective &= ~bit;
        m_dropped = Write();
        m_data[word].effective |= bit;
    }
    ~OrdinaryPriorityScope() {
        if (m_dropped) Write();
    }
    OrdinaryPriorityScope(const OrdinaryPriorityScope&) = delete;
    OrdinaryPriorityScope& operator=(const OrdinaryPriorityScope&) = delete;

private:
    bool Read() { return syscall(SYS_capget, &m_header, m_data) == 0; }
    bool Write() { return syscall(SYS_capset, &m_header, m_data) == 0; }

    __user_cap_header_struct m_header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct m_data[_LINUX_CAPABILITY_U32S_3] = {};
    bool m_dropped = false;
};
