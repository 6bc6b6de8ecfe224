#include "tools/setup/record_store.h"

#include <cstring>

namespace reg = platform::reg;

namespace setup {
namespace {

constexpr std::uint32_t kMaxValueBytes = 4096;

// An open key that closes itself.
class KeyHandle {
public:
    KeyHandle() = default;
    ~KeyHandle() {
        if (m_key) reg::CloseKey(m_key);
    }
    KeyHandle(const KeyHandle&) = delete;
    KeyHandle& operator=(const KeyHandle&) = delete;
    reg::Key* Out() { return &m_key; }
    reg::Key Get() const { return m_key; }

private:
    reg::Key m_key = nullptr;
};

std::wstring Join(const std::wstring& base, const std::wstring& path) { return base.empty() ? path : base + L"\\" + path; }

// REG_SZ as stored: the text and its terminator, in the registry's own
// character width.
std::vector<std::uint8_t> StringBytes(const std::wstring& text) {
    std::vector<std::uint8_t> bytes((text.size() + 1) * sizeof(wchar_t), 0);
    std::memcpy(bytes.data(), text.c_str(), text.size() * sizeof(wchar_t));
    return bytes;
}

std::vector<std::uint8_t> ValueBytes(const RegValue& value) {
    return value.type == reg::kSz ? StringBytes(value.text) : value.bytes;
}

reg::Status WriteKey(reg::Key root, const std::wstring& base, const RegKey& key) {
    KeyHandle handle;
    const std::wstring path = Join(base, key.path);
    if (reg::Status s = reg::CreateKey(root, path.c_str(), reg::kKeyAllAccess, handle.Out(), nullptr);
        s != reg::kSuccess)
        return s;
    for (const RegValue& value : key.values) {
        const std::vector<std::uint8_t> bytes = ValueBytes(value);
        const reg::Status s = reg::SetValue(handle.Get(), value.name.c_str(), value.type, bytes.data(),
                                            static_cast<std::uint32_t>(bytes.size()));
        if (s != reg::kSuccess) return s;
    }
    return reg::kSuccess;
}

struct ReadValue {
    reg::Status status = reg::kFileNotFound;
    std::uint32_t type = reg::kNone;
    std::vector<std::uint8_t> bytes;
};

ReadValue Read(reg::Key key, const std::wstring& name) {
    ReadValue out;
    std::uint32_t size = kMaxValueBytes;
    out.bytes.resize(size);
    out.status = reg::QueryValue(key, name.c_str(), &out.type, out.bytes.data(), &size);
    out.bytes.resize(out.status == reg::kSuccess ? size : 0);
    return out;
}

// A stored string without the terminators some writers leave in its size.
std::wstring AsText(const std::vector<std::uint8_t>& bytes) {
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    while (!text.empty() && text.back() == L'\0') text.pop_back();
    return text;
}

bool Matches(const ReadValue& read, const RegValue& want) {
    if (read.status != reg::kSuccess || read.type != want.type) return false;
    return want.type == reg::kSz ? AsText(read.bytes) == want.text : read.bytes == want.bytes;
}

std::wstring Describe(const std::wstring& relative, const RegValue& value) {
    const std::wstring name = value.name.empty() ? L"(default)" : value.name;
    return relative.empty() ? name : relative + L": " + name;
}

}  // namespace

StoreResult WriteRecords(reg::Key root, const std::wstring& base, const std::vector<OemRecord>& records) {
    for (const OemRecord& record : records) {
        // Replaced whole, so that nothing of an older offer lingers.
        KeyHandle product;
        const std::wstring productPath = Join(base, record.keyName);
        if (reg::Status s = reg::CreateKey(root, productPath.c_str(), reg::kKeyAllAccess, product.Out(), nullptr);
            s != reg::kSuccess)
            return {s, productPath};
        const reg::Status cleared = reg::DeleteTree(product.Get(), L"OEMForceFeedback");
        if (cleared != reg::kSuccess && cleared != reg::kFileNotFound) return {cleared, Join(base, ForceFeedbackPath(record))};
        for (const RegKey& key : RecordKeys(record)) {
            if (reg::Status s = WriteKey(root, base, key); s != reg::kSuccess) return {s, Join(base, key.path)};
        }
    }
    return {};
}

StoreResult RemoveRecords(reg::Key root, const std::wstring& base, const std::vector<OemRecord>& records) {
    for (const OemRecord& record : records) {
        const std::wstring productPath = Join(base, record.keyName);
        KeyHandle product;
        const reg::Status opened = reg::OpenKey(root, productPath.c_str(), reg::kKeyAllAccess, product.Out());
        if (opened == reg::kFileNotFound) continue;
        if (opened != reg::kSuccess) return {opened, productPath};
        const reg::Status removed = reg::DeleteTree(product.Get(), L"OEMForceFeedback");
        if (removed != reg::kSuccess && removed != reg::kFileNotFound) return {removed, Join(base, ForceFeedbackPath(record))};
        const ReadValue name = Read(product.Get(), kOemNameValue);
        if (name.status == reg::kSuccess && name.type == reg::kSz && AsText(name.bytes) == record.oemName) {
            if (reg::Status s = reg::DeleteValue(product.Get(), kOemNameValue); s != reg::kSuccess)
                return {s, productPath};
        }
        std::uint32_t subkeys = 0;
        std::uint32_t values = 0;
        if (reg::Status s = reg::CountEntries(product.Get(), &subkeys, &values); s != reg::kSuccess)
            return {s, productPath};
        if (subkeys != 0 || values != 0) continue;  // the system's own values stay, and so does their key
        reg::CloseKey(product.Get());
        *product.Out() = nullptr;
        KeyHandle parent;
        if (reg::Status s = reg::OpenKey(root, base.c_str(), reg::kKeyAllAccess, parent.Out()); s != reg::kSuccess)
            return {s, base};
        const reg::Status gone = reg::DeleteTree(parent.Get(), record.keyName.c_str());
        if (gone != reg::kSuccess && gone != reg::kFileNotFound) return {gone, productPath};
    }
    return {};
}

std::vector<RecordCheck> CheckRecords(reg::Key root, const std::wstring& base, const std::vector<OemRecord>& records) {
    std::vector<RecordCheck> checks;
    for (const OemRecord& record : records) {
        RecordCheck check;
        check.record = &record;
        const std::vector<RegKey> keys = RecordKeys(record);
        std::uint32_t effectKeys = 0;
        std::uint32_t effectsFound = 0;
        const std::wstring effectsPath = ForceFeedbackPath(record) + L"\\Effects";
        for (const RegKey& key : keys) {
            const std::wstring relative = key.path.substr(record.keyName.size() + (key.path == record.keyName ? 0 : 1));
            KeyHandle handle;
            const std::wstring path = Join(base, key.path);
            if (reg::OpenKey(root, path.c_str(), reg::kKeyRead, handle.Out()) != reg::kSuccess) {
                if (key.path == record.keyName) {
                    check.keyPresent = false;
                    check.missing.push_back(record.keyName);
                    break;
                }
                check.missing.push_back(relative);
                continue;
            }
            if (key.path == record.keyName) check.keyPresent = true;
            if (key.path == ForceFeedbackPath(record)) check.forceFeedbackPresent = true;
            for (const RegValue& value : key.values) {
                const ReadValue read = Read(handle.Get(), value.name);
                if (read.status != reg::kSuccess) {
                    check.missing.push_back(Describe(relative, value));
                } else if (!Matches(read, value)) {
                    check.differs.push_back(Describe(relative, value));
                } else if (key.path == record.keyName && value.name == kOemNameValue) {
                    check.nameOurs = true;
                }
            }
            if (key.path == effectsPath) {
                std::uint32_t subkeys = 0;
                if (reg::CountEntries(handle.Get(), &subkeys, nullptr) == reg::kSuccess) effectKeys = subkeys;
            } else if (key.path.rfind(effectsPath + L"\\", 0) == 0) {
                ++effectsFound;
            }
        }
        if (effectKeys > effectsFound) {
            check.extra.push_back(L"OEMForceFeedback\\Effects: " + std::to_wstring(effectKeys - effectsFound) +
                                  L" effect(s) this driver does not offer");
        }
        checks.push_back(std::move(check));
    }
    return checks;
}

}  // namespace setup
