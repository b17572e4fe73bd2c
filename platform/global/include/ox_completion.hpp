// What a completion callback may show while it runs.
#pragma once

/// To be called by a completion callback that was left by Ctrl-C: shows it behind the line, which is drawn
/// anew below.
void ox_rl_completion_interrupted(void);
/// To be called by a completion callback before it writes: its output goes below the line, which is drawn
/// anew afterwards. The caller begins and ends the output with a newline.
void ox_rl_completion_writes(void);
