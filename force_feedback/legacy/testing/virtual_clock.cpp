#include "force_feedback/legacy/testing/virtual_clock.h"

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
    FfdrvVirtualDevice d{};
    d.size = sizeof d;
    d.joystickId = joystickId;
    d.vendorId = 0xC7A5;
    d.productId = 0xA103;
    d.versionNumber = 0x0100;
    d.inputReportLength = 9;
    d.outputReportLength = 65;
    d.featureReportLength = 65;
    for (int i = 0; i < 16; ++i) d.containerId[i] = static_cast<std::uint8_t>(0x40 + joystickId + i);
    d.hasCalibration = 1;
    const std::int32_t calibration[6] = {0, 512, 1023, 0, 512, 1023};
    for (int i = 0; i < 6; ++i) d.calibration[i] = calibration[i];
    d.axes[0] = {10, 0, 1023};
    d.axes[1] = {10, 0, 1023};
    d.buttonCount = 12;
    return d;
}
