#include "force_feedback/legacy/testing/virtual_clock.h"

#include "tools/module_host/driver_module.h"

ClockedWorker::ClockedWorker(std::function<void()> body) {
    auto participant = std::make_shared<platform::SimParticipant>();
    m_thread = platform::Thread::Start(
        [participant, done = m_done, body = std::move(body)]() mutable {
            participant->Attach();
            body();
            done->store(true);
            participant.reset();  // the clock stops waiting for this thread
        },
        platform::ThreadPriority::kNormal);
}

ClockedWorker::~ClockedWorker() {
    Finish();
    m_thread->Join(0xFFFFFFFFu);
}

bool ClockedWorker::Finish(std::uint32_t limitMs) {
    for (std::uint32_t i = 0; i < limitMs && !Done(); ++i) {
        if (!platform::AdvanceVirtualClock(1)) break;
    }
    platform::AdvanceVirtualClock(0);
    return Done();
}

FfdrvVirtualDevice VirtualWheel(std::uint32_t joystickId) {
    FfdrvVirtualDevice d = PlausibleDevice(joystickId, /*containerSeed=*/0x40);
    d.productId = 0xA103;
    return d;
}
