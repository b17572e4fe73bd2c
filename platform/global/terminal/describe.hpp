// The key that tells what stands under the cursor.
#pragma once

/// Gives the key its name in inputrc; before readline reads that.
void describe_name(void);
/// Gives it its usual keys, where inputrc binds nothing else to them.
void describe_bind(void);
/// Whether there is something to be shown, which the key has asked for.
bool describe_waits(void);
/// Writes it, on rows of its own: the cursor must stand at the begin of one.
void describe_print(void);
