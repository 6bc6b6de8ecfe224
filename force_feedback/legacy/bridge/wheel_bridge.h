// What the Prazen wheel's virtual device asks of the bridge: the whole of its
// side of the conversation with the device library, so that the device class
// never touches library objects.
//
// Called on the wheel's own threads (DirectInput's caller, the simulation
// thread); each call takes only the table lock or the bridge's queue lock.
// `bridge` is the module's bridge thread (BridgeThread()); a null bridge
// makes the posting calls fail.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class DevioThread;
class IBridgeConnectionListener;

// On open: enters the wheel under key (its device's container ID), with the
// optional listener to be told of binding and unbinding, and asks the bridge
// to attach it. Returns the slot to keep; 0 when the table is full or no
// bridge runs (nothing is entered then).
std::uint8_t BridgeOpenWheel(DevioThread* bridge, const std::wstring& key,
                             IBridgeConnectionListener* listener = nullptr);

// Escape command 2: hands selector and the first count values (floats, as
// their bit patterns) to the wheel's RPM indicator feature. True once posted;
// false when the payload cannot be allocated or no bridge runs. The outcome
// on the wheel is not reported.
bool BridgeSendFloats(DevioThread* bridge, std::uint8_t slot, std::uint8_t selector, std::uint32_t count,
                      const std::vector<float>& values);

// Escape command 3: the two bytes of the bound wheel's value, under the table
// lock. False while the slot has no bound device with a value.
bool BridgeReadBytes(std::uint8_t slot, std::uint8_t out[2]);

// On destruction: removes the wheel's key and tells the bridge the slot is
// gone.
void BridgeWheelGone(DevioThread* bridge, const std::wstring& key);
