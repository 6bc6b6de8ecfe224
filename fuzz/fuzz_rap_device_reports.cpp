// Feeds arbitrary incoming reports to a RAP device with requests pending on
// its RPM indicator: answers, error reports, notifications and noise must
// settle the right request or none, without reading past the report.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "devio/manager/device.h"
#include "devio/manager/feature_807a_rpm_indicator.h"
#include "devio/manager/rap_functions.h"

namespace {

constexpr std::uint8_t kSoftwareId = 6;
constexpr std::uint8_t kIndicatorIndex = 2;

// Answers nothing by itself; the fuzzer's bytes are the only reports.
class SilentConnection final : public devio::IRapConnection {
public:
    std::wstring container_id() const override { return L"{F}"; }
    std::uint16_t product_id() const override { return 1; }
    bool write(std::span<const std::uint8_t>) override { return true; }
    void set_report_sink(report_sink sink) override { m_sink = std::move(sink); }
    void feed(const std::vector<std::uint8_t>& report) {
        if (m_sink) m_sink(report);
    }

private:
    report_sink m_sink;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto connection = std::make_shared<SilentConnection>();
    auto device = devio::CRapDevice::create(connection, kSoftwareId);
    devio::Feature807ARpmIndicator rpm_holder(std::weak_ptr<devio::IFeatureChannel>(device), kIndicatorIndex, 1);
    auto flag = rpm_holder.getStateFlag();
    auto value = rpm_holder.getValue16();
    // Each input byte run up to a 0xFE separator is one report, in an
    // exact-size vector so that the sanitizer sees any read past its end.
    std::vector<std::uint8_t> report;
    for (std::size_t i = 0; i <= size; ++i) {
        if (i == size || data[i] == 0xFE) {
            connection->feed(report);
            report.clear();
        } else {
            report.push_back(data[i]);
        }
    }
    device->mark_removed();
    flag.ignore();
    value.ignore();
    return 0;
}
