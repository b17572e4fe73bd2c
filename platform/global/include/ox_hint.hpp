// The hint behind the edited line, which the callback of ox_rl_set_hint_cb gives.
#pragma once

/// The callback may give another one by now: asks for it again and shows it, if a line is shown.
void ox_rl_hint_changed(void);
