// ffdrv-setup: makes DirectInput find the driver. Registers the driver DLL
// beside it (and, on a 64-bit system, the other bitness's DLL through the
// setup program of that bitness in the package), writes one joystick OEM
// record per supported product, and removes, reports or exports them.
//
//   ffdrv-setup install | uninstall | status | export-reg FILE
//
// Exit codes: 0 done (status: everything in place), 1 wrong arguments,
// 2 something failed or (status) is missing, 3 not allowed to write
// HKEY_LOCAL_MACHINE (not run as administrator).
#include <windows.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "force_feedback/legacy/com/class_table.h"
#include "platform/guid.h"
#include "platform/process.h"
#include "platform/registry.h"
#include "tools/setup/oem_records.h"
#include "tools/setup/record_store.h"
#include "tools/setup/reg_file.h"
#include "tools/setup/record_switch.h"

namespace reg = platform::reg;

namespace {

constexpr int kExitOk = 0;
constexpr int kExitUsage = 1;
constexpr int kExitFailed = 2;
constexpr int kExitNotAdmin = 3;
constexpr std::uint32_t kPeerTimeoutMs = 120000;
constexpr const wchar_t* kDllName = L"svjoyff.dll";
constexpr const wchar_t* kSetupName = L"ffdrv-setup.exe";
// Verbs the setup of one bitness gives the other's; not for people. Their
// exit codes are ones no loader gives by accident: a 32-bit program that
// cannot start under a 64-bit Wine without 32-bit support still "exits" 0.
constexpr int kPeerDone = 64;
constexpr int kPeerFailed = 65;
constexpr const char* kPeerRegister = "dll-register";
constexpr const char* kPeerUnregister = "dll-unregister";
constexpr const char* kPeerProbe = "probe";

#ifndef FFDRV_VERSION
#define FFDRV_VERSION "unknown"
#endif

std::string Narrow(const std::wstring& text) {
    if (text.empty()) return {};
    const int n = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(n), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), n, nullptr, nullptr);
    return out;
}

std::wstring Widen(const char* text) { return std::wstring(text, text + std::strlen(text)); }

void Say(const std::wstring& line) { std::printf("%s\n", Narrow(line).c_str()); }
void Complain(const std::wstring& line) { std::fprintf(stderr, "ffdrv-setup: %s\n", Narrow(line).c_str()); }

std::wstring ErrorText(long code) {
    wchar_t* text = nullptr;
    FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                   static_cast<DWORD>(code), 0, reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::wstring out = text ? text : L"";
    if (text) LocalFree(text);
    while (!out.empty() && (out.back() == L'\n' || out.back() == L'\r' || out.back() == L' ')) out.pop_back();
    return L"error " + std::to_wstring(code) + (out.empty() ? L"" : L" (" + out + L")");
}

std::wstring FullPath(const std::wstring& path) {
    wchar_t buffer[MAX_PATH * 2];
    const DWORD n = GetFullPathNameW(path.c_str(), MAX_PATH * 2, buffer, nullptr);
    return n == 0 || n >= MAX_PATH * 2 ? path : std::wstring(buffer, n);
}

bool FileExists(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && !(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

std::wstring OwnDirectory() {
    wchar_t buffer[MAX_PATH * 2];
    const DWORD n = GetModuleFileNameW(nullptr, buffer, MAX_PATH * 2);
    std::wstring path(buffer, n);
    return path.substr(0, path.find_last_of(L"\\/") + 1);
}

constexpr bool kOwn64 = sizeof(void*) == 8;

// Both bitnesses of the driver: the one this program can load itself and
// the other one, which only its own bitness's setup can.
struct Bitness {
    const wchar_t* label;  // "64-bit"
    bool own;
    std::uint32_t view;  // registry view of its classes
    std::wstring dll;
    std::wstring setup;
};

bool SystemIs64Bit() {
    if (kOwn64) return true;
    BOOL wow64 = FALSE;
    return IsWow64Process(GetCurrentProcess(), &wow64) && wow64;
}

std::vector<Bitness> Bitnesses() {
    const std::wstring dir = OwnDirectory();
    std::vector<Bitness> list;
    list.push_back({kOwn64 ? L"64-bit" : L"32-bit", true, kOwn64 ? reg::kKeyWow64View64 : reg::kKeyWow64View32,
                    FullPath(dir + kDllName), FullPath(dir + kSetupName)});
    if (SystemIs64Bit()) {
        // The package keeps each bitness in a folder of its own: x64\ and x86\.
        const std::wstring peerDir = dir + (kOwn64 ? L"..\\x86\\" : L"..\\x64\\");
        list.push_back({kOwn64 ? L"32-bit" : L"64-bit", false, kOwn64 ? reg::kKeyWow64View32 : reg::kKeyWow64View64,
                        FullPath(peerDir + kDllName), FullPath(peerDir + kSetupName)});
    }
    return list;
}

// ---- COM class registration -------------------------------------------------

using ServerCall = HRESULT(STDAPICALLTYPE*)();

// Loads the DLL and calls one of its registration exports, as regsvr32 does.
bool CallServer(const std::wstring& dll, const char* exportName) {
    HMODULE module = LoadLibraryExW(dll.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (module == nullptr) {
        Complain(L"cannot load " + dll + L": " + ErrorText(static_cast<long>(GetLastError())));
        return false;
    }
    auto call = reinterpret_cast<ServerCall>(reinterpret_cast<void*>(GetProcAddress(module, exportName)));
    const HRESULT hr = call ? call() : E_FAIL;
    FreeLibrary(module);
    if (FAILED(hr) || hr == S_FALSE) {
        wchar_t code[16];
        std::swprintf(code, 16, L"0x%08lX", static_cast<unsigned long>(hr));
        Complain(dll + L": " + Widen(exportName) + L" returned " + code);
        return false;
    }
    return true;
}

enum class ClassState { kRegistered, kMissing, kOtherFile, kPartial };

struct ClassReport {
    ClassState state;
    std::wstring otherFile;
    int missing = 0;
};

std::wstring ReadText(reg::Key root, const std::wstring& path, std::uint32_t view) {
    reg::Key key = nullptr;
    if (reg::OpenKey(root, path.c_str(), reg::kKeyRead | view, &key) != reg::kSuccess) return {};
    wchar_t buffer[MAX_PATH * 2] = {};
    std::uint32_t size = sizeof buffer - sizeof(wchar_t);
    std::uint32_t type = 0;
    const reg::Status s = reg::QueryValue(key, nullptr, &type, buffer, &size);
    reg::CloseKey(key);
    if (s != reg::kSuccess || type != reg::kSz) return {};
    std::wstring text(buffer, size / sizeof(wchar_t));
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    return text;
}

// All 19 classes in the bitness's view, pointing at `dll`.
ClassReport CheckClasses(const std::wstring& dll, std::uint32_t view) {
    ClassReport report{ClassState::kRegistered, {}, 0};
    for (const ClassRow& row : kClassTable) {
        const std::wstring server =
            ReadText(reg::LocalMachine(), L"SOFTWARE\\Classes\\CLSID\\" + platform::FormatGuid(row.clsid) + L"\\InProcServer32", view);
        if (server.empty()) {
            ++report.missing;
        } else if (_wcsicmp(server.c_str(), dll.c_str()) != 0) {
            report.otherFile = server;
        }
    }
    if (report.missing == kClassCount) report.state = ClassState::kMissing;
    else if (report.missing != 0) report.state = ClassState::kPartial;
    else if (!report.otherFile.empty()) report.state = ClassState::kOtherFile;
    return report;
}

std::wstring Describe(const ClassReport& r, const std::wstring& dll) {
    switch (r.state) {
        case ClassState::kRegistered: return L"registered (" + dll + L")";
        case ClassState::kMissing: return L"not registered";
        case ClassState::kOtherFile: return L"registered for another file: " + r.otherFile;
        case ClassState::kPartial: return L"partly registered: " + std::to_wstring(r.missing) + L" of " +
                                          std::to_wstring(kClassCount) + L" classes missing";
    }
    return L"?";
}

enum class PeerResult { kDone, kFailed, kCannotRun, kAbsent };

// Runs the other bitness's setup with one of the peer verbs.
PeerResult RunPeer(const Bitness& b, const char* verb) {
    if (!FileExists(b.setup) || !FileExists(b.dll)) return PeerResult::kAbsent;
    const int code = platform::RunProcess(Narrow(b.setup), {verb}, kPeerTimeoutMs);
    if (code == kPeerDone) return PeerResult::kDone;
    if (code == kPeerFailed) return PeerResult::kFailed;
    // Anything else never ran a line of ours: the program could not be
    // started, or the system's loader ended it with a code of its own.
    return PeerResult::kCannotRun;
}

void SayCannotRun(const Bitness& b, bool installing) {
    const std::wstring start = std::wstring(L"note: this system runs no ") + b.label + L" programs, so the " + b.label;
    if (installing) {
        Say(start + L" driver is not registered; " + (kOwn64 ? L"64" : L"32") + L"-bit games are served.");
    } else {
        Say(start + L" driver has nothing to unregister.");
    }
}

// ---- Verbs -----------------------------------------------------------------

// The one write every verb that changes something needs first.
bool CanWriteMachineKeys() {
    reg::Key key = nullptr;
    const reg::Status s = reg::CreateKey(reg::LocalMachine(), setup::kOemRoot, reg::kKeyAllAccess, &key, nullptr);
    if (key) reg::CloseKey(key);
    if (s == reg::kSuccess) return true;
    if (s == reg::kAccessDenied) {
        Complain(L"not allowed to write HKEY_LOCAL_MACHINE: run ffdrv-setup from a command prompt opened with "
                 L"\"Run as administrator\".");
    } else {
        Complain(L"cannot open HKEY_LOCAL_MACHINE\\" + std::wstring(setup::kOemRoot) + L": " + ErrorText(s));
    }
    return false;
}

int Install() {
    if (!CanWriteMachineKeys()) return kExitNotAdmin;
    bool ok = true;
    for (const Bitness& b : Bitnesses()) {
        if (b.own) {
            if (!FileExists(b.dll)) {
                Complain(L"the driver " + b.dll + L" is missing: unpack the whole package and run the setup from it.");
                ok = false;
                continue;
            }
            const bool called = CallServer(b.dll, "DllRegisterServer");
            const ClassReport report = CheckClasses(b.dll, b.view);
            if (!called || report.state != ClassState::kRegistered) {
                Complain(std::wstring(b.label) + L" driver: " + Describe(report, b.dll));
                ok = false;
                continue;
            }
            Say(std::wstring(b.label) + L" driver registered: " + b.dll);
            continue;
        }
        switch (RunPeer(b, kPeerRegister)) {
            case PeerResult::kDone: Say(std::wstring(b.label) + L" driver registered: " + b.dll); break;
            case PeerResult::kCannotRun: SayCannotRun(b, true); break;
            case PeerResult::kAbsent:
                Say(std::wstring(L"note: no ") + b.label + L" driver in " + b.dll + L": " + b.label +
                    L" games will not find it.");
                break;
            case PeerResult::kFailed:
                Complain(std::wstring(b.label) + L" setup " + b.setup + L" could not register " + b.dll + L".");
                ok = false;
                break;
        }
    }
    const std::vector<setup::OemRecord> records = setup::BuildOemRecords();
    const setup::StoreResult written = setup::WriteRecords(reg::LocalMachine(), setup::kOemRoot, records);
    if (!written.Ok()) {
        Complain(L"cannot write HKEY_LOCAL_MACHINE\\" + written.where + L": " + ErrorText(written.status));
        return written.status == reg::kAccessDenied ? kExitNotAdmin : kExitFailed;
    }
    Say(L"joystick OEM records written for " + std::to_wstring(records.size()) + L" products.");
    return ok ? kExitOk : kExitFailed;
}

int Uninstall() {
    if (!CanWriteMachineKeys()) return kExitNotAdmin;
    bool ok = true;
    const std::vector<setup::OemRecord> records = setup::BuildOemRecords();
    const setup::StoreResult removed = setup::RemoveRecords(reg::LocalMachine(), setup::kOemRoot, records);
    if (!removed.Ok()) {
        Complain(L"cannot remove HKEY_LOCAL_MACHINE\\" + removed.where + L": " + ErrorText(removed.status));
        ok = false;
    } else {
        Say(L"joystick OEM records removed for " + std::to_wstring(records.size()) + L" products.");
    }
    for (const Bitness& b : Bitnesses()) {
        if (b.own) {
            if (!FileExists(b.dll)) {
                Complain(L"the driver " + b.dll + L" is missing, so its classes cannot be removed through it.");
                ok = false;
                continue;
            }
            const bool called = CallServer(b.dll, "DllUnregisterServer");
            if (!called || CheckClasses(b.dll, b.view).state != ClassState::kMissing) {
                Complain(std::wstring(b.label) + L" driver: classes still registered.");
                ok = false;
                continue;
            }
            Say(std::wstring(b.label) + L" driver unregistered.");
            continue;
        }
        switch (RunPeer(b, kPeerUnregister)) {
            case PeerResult::kDone: Say(std::wstring(b.label) + L" driver unregistered."); break;
            case PeerResult::kCannotRun: SayCannotRun(b, false); break;
            case PeerResult::kAbsent: break;
            case PeerResult::kFailed:
                Complain(std::wstring(b.label) + L" setup " + b.setup + L" could not unregister " + b.dll + L".");
                ok = false;
                break;
        }
    }
    return ok ? kExitOk : kExitFailed;
}

int Status() {
    bool complete = true;
    Say(L"ffdrv-setup " + Widen(FFDRV_VERSION));
    for (const Bitness& b : Bitnesses()) {
        const ClassReport report = CheckClasses(b.dll, b.view);
        std::wstring line = std::wstring(b.label) + L" driver: " + Describe(report, b.dll);
        bool expected = report.state == ClassState::kRegistered;
        if (!expected && !b.own) {
            const PeerResult peer = RunPeer(b, kPeerProbe);
            if (peer == PeerResult::kCannotRun) {
                line += std::wstring(L" (this system runs no ") + b.label + L" programs)";
                expected = true;
            } else if (peer == PeerResult::kAbsent) {
                line += L" (not in this package folder)";
                expected = true;
            }
        }
        complete = complete && expected;
        Say(line);
    }
    const std::vector<setup::OemRecord> records = setup::BuildOemRecords();
    for (const setup::RecordCheck& c : setup::CheckRecords(reg::LocalMachine(), setup::kOemRoot, records)) {
        const setup::OemRecord& r = *c.record;
        std::wstring line = r.keyName + L"  " + r.oemName + L": ";
        if (c.Complete()) {
            Say(line + L"installed (" + std::to_wstring(r.effects.size()) + L" effects)");
            continue;
        }
        complete = false;
        if (c.Absent()) {
            Say(line + L"not installed");
            continue;
        }
        Say(line + L"incomplete");
        for (const std::wstring& m : c.missing) Say(L"    missing: " + m);
        for (const std::wstring& d : c.differs) Say(L"    differs: " + d);
        for (const std::wstring& e : c.extra) Say(L"    extra:   " + e);
    }
    if (!complete) Say(L"run \"ffdrv-setup install\" as administrator to put the missing parts in place.");
    return complete ? kExitOk : kExitFailed;
}

int ExportReg(const std::wstring& file) {
    const std::string bytes = setup::RegFileBytes(setup::BuildOemRecords());
    FILE* out = _wfopen(file.c_str(), L"wb");
    if (out == nullptr) {
        Complain(L"cannot create " + file + L": " + ErrorText(static_cast<long>(GetLastError())));
        return kExitFailed;
    }
    const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
    if (std::fclose(out) != 0 || !ok) {
        Complain(L"cannot write " + file);
        return kExitFailed;
    }
    Say(L"records written to " + FullPath(file) + L"; the driver DLLs still need \"ffdrv-setup install\" or "
        L"regsvr32 on each machine.");
    return kExitOk;
}

// Recording is per user: no administrator needed.
int Record(const std::wstring& how, const std::wstring& directory) {
    const reg::Status status = how == L"on" ? setup::SetRecordDirectory(FullPath(directory))
                                            : setup::ClearRecordDirectory();
    if (status != reg::kSuccess) {
        Complain(L"cannot write HKEY_CURRENT_USER\\" + std::wstring(setup::kDriverSettingsKey) + L": " +
                 ErrorText(status));
        return kExitFailed;
    }
    Say(how == L"on" ? L"the driver records every device it opens into " + FullPath(directory) +
                           L" (programs started from now on)"
                     : std::wstring(L"recording is off"));
    return kExitOk;
}

int Usage() {
    std::fprintf(stderr,
                 "ffdrv-setup %s: makes DirectInput find the force-feedback driver beside this program.\n"
                 "usage: ffdrv-setup install | uninstall | status | export-reg FILE | record on DIR | record off\n"
                 "  install     register the driver and write the joystick OEM records (administrator)\n"
                 "  uninstall   remove both again (administrator)\n"
                 "  status      show what is registered and which records are in place\n"
                 "  export-reg  write the records as a .reg file\n"
                 "  record      record what games send into DIR (.ffs scenarios for ffplay), or stop\n",
                 FFDRV_VERSION);
    return kExitUsage;
}

}  // namespace

int wmain(int argc, wchar_t** argv) {
    const std::wstring verb = argc > 1 ? argv[1] : L"";
    const std::string narrowVerb = Narrow(verb);
    if (argc == 2 && verb == L"install") return Install();
    if (argc == 2 && verb == L"uninstall") return Uninstall();
    if (argc == 2 && verb == L"status") return Status();
    if (argc == 3 && verb == L"export-reg") return ExportReg(argv[2]);
    if (argc == 4 && verb == L"record" && std::wstring(argv[2]) == L"on") return Record(L"on", argv[3]);
    if (argc == 3 && verb == L"record" && std::wstring(argv[2]) == L"off") return Record(L"off", L"");
    // The other bitness's setup asks for the DLL beside this program.
    const std::wstring dll = FullPath(OwnDirectory() + kDllName);
    const std::uint32_t view = kOwn64 ? reg::kKeyWow64View64 : reg::kKeyWow64View32;
    if (argc == 2 && narrowVerb == kPeerProbe) return kPeerDone;
    if (argc == 2 && narrowVerb == kPeerRegister) {
        const bool ok = CallServer(dll, "DllRegisterServer") && CheckClasses(dll, view).state == ClassState::kRegistered;
        return ok ? kPeerDone : kPeerFailed;
    }
    if (argc == 2 && narrowVerb == kPeerUnregister) {
        const bool ok = CallServer(dll, "DllUnregisterServer") && CheckClasses(dll, view).state == ClassState::kMissing;
        return ok ? kPeerDone : kPeerFailed;
    }
    return Usage();
}
