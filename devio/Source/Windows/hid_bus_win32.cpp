#include "devio/Source/Windows/hid_bus_win32.h"

#include <windows.h>
// windows.h first: the HID and setup headers build on its types.
#include <dbt.h>
#include <setupapi.h>
// MinGW's HID headers declare C functions without a linkage block.
extern "C" {
#include <hidsdi.h>
#include <hidpi.h>
}

#include <algorithm>
#include <atomic>
#include <future>

#include "devio/rap/rap_packet.h"
#include "platform/guid.h"
#include "platform/hid.h"

namespace devio {

namespace {
constexpr USHORT kVendorUsagePageFirst = 0xFF00;
constexpr std::size_t kShortReportSize = 7;
constexpr std::size_t kLongReportSize = 20;
constexpr DWORD kWriteTimeoutMs = 1000;
constexpr wchar_t kWindowClass[] = L"DevioHidBusNotify";

// The container ID's registry text, or empty when the system cannot tell it.
std::wstring container_of(const std::wstring& path) {
    GUID container{};
    return platform::hid::GetContainerId(path.c_str(), &container) ? platform::FormatGuid(container) : std::wstring();
}

// Whether an open HID handle is one of the maker's RAP interfaces.
bool is_rap_interface(HANDLE handle, std::uint16_t vendor_id, USHORT* product_id) {
    HIDD_ATTRIBUTES attributes{};
    attributes.Size = sizeof(attributes);
    if (!HidD_GetAttributes(handle, &attributes) || attributes.VendorID != vendor_id) return false;
    PHIDP_PREPARSED_DATA preparsed = nullptr;
    if (!HidD_GetPreparsedData(handle, &preparsed)) return false;
    HIDP_CAPS caps{};
    const bool vendor_page = HidP_GetCaps(preparsed, &caps) == HIDP_STATUS_SUCCESS && caps.UsagePage >= kVendorUsagePageFirst;
    HidD_FreePreparsedData(preparsed);
    *product_id = attributes.ProductID;
    return vendor_page;
}

HANDLE open_path(const std::wstring& path) {
    return CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                       OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
}
}  // namespace

// One open RAP interface with its read thread. The read thread owns the
// pending read; close() cancels it and joins.
class Win32RapConnection final : public IRapConnection {
public:
    Win32RapConnection(std::wstring path, HANDLE handle, std::uint16_t product_id)
        : m_path(std::move(path)), m_handle(handle), m_product_id(product_id), m_container(container_of(m_path)),
          m_stop(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        m_reader = std::thread([this] { read_loop(); });
    }
    ~Win32RapConnection() override { close(); }

    const std::wstring& path() const { return m_path; }
    std::wstring container_id() const override { return m_container; }
    std::uint16_t product_id() const override { return m_product_id; }
    void set_report_sink(report_sink sink) override {
        std::lock_guard lock(m_mutex);
        m_sink = std::move(sink);
    }
    bool write(std::span<const std::uint8_t> report) override;
    void close();

private:
    void read_loop();
    void deliver(const std::uint8_t* data, DWORD size);

    const std::wstring m_path;
    HANDLE m_handle;
    const std::uint16_t m_product_id;
    const std::wstring m_container;
    HANDLE m_stop;
    std::mutex m_mutex;  // guards the sink
    std::mutex m_write_mutex;
    report_sink m_sink;
    std::thread m_reader;
};

bool Win32RapConnection::write(std::span<const std::uint8_t> report) {
    if (report.empty()) return false;
    const std::size_t size = report[rap::kOffsetReportId] == rap::kReportIdShort ? kShortReportSize : kLongReportSize;
    std::vector<std::uint8_t> padded(std::max(size, report.size()), 0);
    std::copy(report.begin(), report.end(), padded.begin());
    std::lock_guard lock(m_write_mutex);
    OVERLAPPED overlapped{};
    overlapped.hEvent = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    DWORD written = 0;
    BOOL ok = WriteFile(m_handle, padded.data(), static_cast<DWORD>(padded.size()), nullptr, &overlapped);
    if (!ok && GetLastError() == ERROR_IO_PENDING) {
        if (WaitForSingleObject(overlapped.hEvent, kWriteTimeoutMs) != WAIT_OBJECT_0) CancelIo(m_handle);
        ok = GetOverlappedResult(m_handle, &overlapped, &written, TRUE);
    }
    CloseHandle(overlapped.hEvent);
    return ok != FALSE;
}

void Win32RapConnection::deliver(const std::uint8_t* data, DWORD size) {
    report_sink sink;
    {
        std::lock_guard lock(m_mutex);
        sink = m_sink;
    }
    if (sink) sink(std::span<const std::uint8_t>(data, size));
}

void Win32RapConnection::read_loop() {
    std::uint8_t buffer[64];
    HANDLE done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    for (;;) {
        OVERLAPPED overlapped{};
        overlapped.hEvent = done;
        ResetEvent(done);
        DWORD got = 0;
        if (!ReadFile(m_handle, buffer, sizeof(buffer), nullptr, &overlapped) && GetLastError() != ERROR_IO_PENDING)
            break;
        HANDLE waits[] = {done, m_stop};
        const DWORD which = WaitForMultipleObjects(2, waits, FALSE, INFINITE);
        if (which != WAIT_OBJECT_0) {
            CancelIo(m_handle);
            GetOverlappedResult(m_handle, &overlapped, &got, TRUE);
            break;
        }
        if (!GetOverlappedResult(m_handle, &overlapped, &got, FALSE)) break;
        deliver(buffer, got);
    }
    CloseHandle(done);
}

void Win32RapConnection::close() {
    if (m_stop) SetEvent(m_stop);
    if (m_reader.joinable()) m_reader.join();
    if (m_handle != INVALID_HANDLE_VALUE) CloseHandle(m_handle);
    if (m_stop) CloseHandle(m_stop);
    m_handle = INVALID_HANDLE_VALUE;
    m_stop = nullptr;
}

Win32HidBus::Win32HidBus(std::uint16_t vendor_id) : m_vendor_id(vendor_id) {}

Win32HidBus::~Win32HidBus() { stop(); }

std::vector<std::wstring> Win32HidBus::enumerate_paths() const {
    std::vector<std::wstring> paths;
    GUID hid_class{};
    HidD_GetHidGuid(&hid_class);
    HDEVINFO set = SetupDiGetClassDevsW(&hid_class, nullptr, nullptr, DIGCF_PRESENT | DIGCF_DEVICEINTERFACE);
    if (set == INVALID_HANDLE_VALUE) return paths;
    SP_DEVICE_INTERFACE_DATA iface{};
    iface.cbSize = sizeof(iface);
    for (DWORD i = 0; SetupDiEnumDeviceInterfaces(set, nullptr, &hid_class, i, &iface); ++i) {
        DWORD needed = 0;
        SetupDiGetDeviceInterfaceDetailW(set, &iface, nullptr, 0, &needed, nullptr);
        if (needed < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W)) continue;
        std::vector<std::uint8_t> storage(needed);
        auto* detail = reinterpret_cast<SP_DEVICE_INTERFACE_DETAIL_DATA_W*>(storage.data());
        detail->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
        if (!SetupDiGetDeviceInterfaceDetailW(set, &iface, detail, needed, nullptr, nullptr)) continue;
        HANDLE handle = open_path(detail->DevicePath);
        if (handle == INVALID_HANDLE_VALUE) continue;
        USHORT product = 0;
        if (is_rap_interface(handle, m_vendor_id, &product)) paths.emplace_back(detail->DevicePath);
        CloseHandle(handle);
    }
    SetupDiDestroyDeviceInfoList(set);
    return paths;
}

// Connections are opened only for newly seen paths and dropped only for
// vanished ones, so a rescan never disturbs a device in use.
void Win32HidBus::rescan() {
    const std::vector<std::wstring> present = enumerate_paths();
    std::lock_guard lock(m_mutex);
    for (auto it = m_open.begin(); it != m_open.end();) {
        if (std::find(present.begin(), present.end(), (*it)->path()) != present.end()) {
            ++it;
            continue;
        }
        auto gone = *it;
        it = m_open.erase(it);
        gone->close();
        if (m_listener) m_listener->on_removal(gone);
    }
    for (const auto& path : present) {
        auto known = std::find_if(m_open.begin(), m_open.end(), [&](const auto& c) { return c->path() == path; });
        if (known != m_open.end()) continue;
        HANDLE handle = open_path(path);
        USHORT product = 0;
        if (handle == INVALID_HANDLE_VALUE) continue;
        if (!is_rap_interface(handle, m_vendor_id, &product)) {
            CloseHandle(handle);
            continue;
        }
        auto connection = std::make_shared<Win32RapConnection>(path, handle, product);
        m_open.push_back(connection);
        if (m_listener) m_listener->on_arrival(connection);
    }
}

std::size_t Win32HidBus::open_count() {
    std::lock_guard lock(m_mutex);
    return m_open.size();
}

bool Win32HidBus::start(IHidBusListener* listener) {
    {
        std::lock_guard lock(m_mutex);
        if (m_listener) return true;
        m_listener = listener;
    }
    rescan();
    // The thread's message queue must exist before stop can post WM_QUIT to
    // it, so start returns only once the thread has made it.
    std::promise<DWORD> ready;
    auto known = ready.get_future();
    m_window_thread = std::thread([this, &ready] {
        MSG peek;
        PeekMessageW(&peek, nullptr, 0, 0, PM_NOREMOVE);
        ready.set_value(GetCurrentThreadId());
        notification_loop();
    });
    m_window_thread_id = known.get();
    return true;
}

namespace {
LRESULT CALLBACK notify_proc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
    if (message == WM_DEVICECHANGE && (wparam == DBT_DEVICEARRIVAL || wparam == DBT_DEVICEREMOVECOMPLETE)) {
        auto* bus = reinterpret_cast<Win32HidBus*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        if (bus) bus->rescan();
        return TRUE;
    }
    return DefWindowProcW(window, message, wparam, lparam);
}
}  // namespace

// A message-only window receives the HID interface notifications; the loop
// ends when stop posts WM_QUIT to the thread.
void Win32HidBus::notification_loop() {
    WNDCLASSW window_class{};
    window_class.lpfnWndProc = notify_proc;
    window_class.hInstance = GetModuleHandleW(nullptr);
    window_class.lpszClassName = kWindowClass;
    RegisterClassW(&window_class);
    HWND window = CreateWindowExW(0, kWindowClass, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                  window_class.hInstance, nullptr);
    if (!window) return;
    SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
    DEV_BROADCAST_DEVICEINTERFACE_W filter{};
    filter.dbcc_size = sizeof(filter);
    filter.dbcc_devicetype = DBT_DEVTYP_DEVICEINTERFACE;
    HidD_GetHidGuid(&filter.dbcc_classguid);
    HDEVNOTIFY notify = RegisterDeviceNotificationW(window, &filter, DEVICE_NOTIFY_WINDOW_HANDLE);
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
    if (notify) UnregisterDeviceNotification(notify);
    DestroyWindow(window);
}

void Win32HidBus::stop() {
    {
        std::lock_guard lock(m_mutex);
        m_listener = nullptr;
    }
    if (m_window_thread.joinable()) {
        PostThreadMessageW(m_window_thread_id, WM_QUIT, 0, 0);
        m_window_thread.join();
    }
    std::lock_guard lock(m_mutex);
    for (auto& connection : m_open) connection->close();
    m_open.clear();
}

std::shared_ptr<IHidBus> make_default_hid_bus(std::uint16_t vendor_id) {
    return std::make_shared<Win32HidBus>(vendor_id);
}

}  // namespace devio
