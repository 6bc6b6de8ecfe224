// Named shared memory: one block of bytes that every process opening the
// same name sees, created zero-filled by the first opener and gone when the
// last holder closes it.
//
// win32: a page-file-backed CreateFileMappingW section and MapViewOfFile.
// portable: POSIX shm_open/mmap. POSIX objects outlive their processes, so
// every holder keeps an open-file-description read lock on the object; an
// opener that finds no other holder (a stale object left by a crash, or one
// whose last holder is just leaving) starts it afresh, zero-filled, and the
// last holder to close unlinks the name. That gives both backends the same
// lifetime.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform::shm {

struct MappingOpaque;
using Mapping = MappingOpaque*;

// The Win32 INVALID_HANDLE_VALUE. Neither backend returns it from Create
// (both report failure as null, as CreateFileMappingW does); callers that
// test for it keep the Win32 calling pattern.
inline Mapping InvalidMapping() { return reinterpret_cast<Mapping>(~std::uintptr_t{0}); }

// The unit views are made of: a view of a section smaller than this is still
// this many bytes long on win32 (whole pages); 1 on portable (exact size).
std::size_t ViewGranularity();

// Creates the object `name` with `size` bytes, or opens it when it exists
// (then its existing size stands, as with CreateFileMappingW). Null on
// failure. `alreadyExisted` (may be null) is set true when another holder
// had it open: the ERROR_ALREADY_EXISTS case.
//
// With `holdNew`, an object this call made stays held for the caller to set
// up: every other Create of the name, from this process or another, waits
// until the caller calls Publish (or closes it), so that nobody opens the
// zero-filled block its creator is still filling. Nothing is held when the
// object existed. Publish and the Create it ends belong on one thread.
Mapping Create(const wchar_t* name, std::uint32_t size, bool* alreadyExisted, bool holdNew = false);

// Ends the hold of a Create(..., holdNew = true) that made the object; does
// nothing for any other mapping (null included).
void Publish(Mapping mapping);

// Maps the whole object read-write. Null for a null mapping or on failure.
// `viewSize` (may be null) receives the number of bytes the view makes
// accessible, which is at least the object's size.
void* Map(Mapping mapping, std::size_t* viewSize);

// Unmaps a view from Map (null is ignored).
void Unmap(void* view);

// Closes a mapping from Create (null and InvalidMapping() are ignored). The
// object goes away with its last holder.
void Close(Mapping mapping);

// Test hook: makes the next Create or the next Map of this process fail as
// if the system had refused it. Reset by kNone.
enum class Fault { kNone, kCreate, kMap };
void InjectFaultForTesting(Fault fault);
// Backends call this at the top of Create/Map: true (and the fault cleared)
// when the injected fault matches `stage`.
bool TakeInjectedFault(Fault stage);

}  // namespace platform::shm
