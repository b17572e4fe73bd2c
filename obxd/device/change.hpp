// Confirmed changes: begun, confirmed, taken back.
#pragma once

#include "device/device.hpp"

namespace obxd {

/// Requests.
void device_begin_change(Device& device, const json_t* params, const Reply& reply);
void device_confirm_change(Device& device, const json_t* params, const Reply& reply);
void device_cancel_change(Device& device, const json_t* params, const Reply& reply);

/// Has what is altered until change_leave belong to the open change, where the asker's connection began it or
/// the request names it. `named` is what the request says, or null. A fault where that is not the open
/// change, or not the asker's: then the request must not be served. Code 0: fine.
Answer change_enter(Device& device, const json_t* named);
void change_leave(Device& device);

/// A fault for the asker where he is about to do, in the open change, what cannot be taken back (`what`, for
/// people); and for everybody who is about to save while one is open. Code 0: fine.
Answer change_refuses_lasting(const Device& device, const char* what);
Answer change_refuses_saving(const Device& device);

/// The device starts: a change that was open when it ended is over, since it was never saved.
void change_recover(Device& device);
/// The device goes down. What is altered ends with its memory.
void change_lose(Device& device);

}  // namespace obxd
