#include <atomic>

#include "platform/shared_memory.h"

namespace platform::shm {
namespace {
std::atomic<Fault> g_fault{Fault::kNone};
}  // namespace

void InjectFaultForTesting(Fault fault) { g_fault.store(fault); }

bool TakeInjectedFault(Fault stage) {
    Fault expected = stage;
    return stage != Fault::kNone && g_fault.compare_exchange_strong(expected, Fault::kNone);
}

}  // namespace platform::shm
