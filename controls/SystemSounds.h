// The sounds of the desktop's sound theme.

#pragma once

namespace zutools {

enum class TSystemSound { Beep, Asterisk, Exclamation, Question };

/// Plays the sound on a thread of its own and returns at once. Silence where the desktop has no sounds.
void PlaySystemSound(TSystemSound Sound);

} // namespace zutools
