// Texts that look like a translation: every translated place of a game is easy to see, and so is every place that is
// too narrow.
#pragma once

#include <string>

// "New game" becomes "[Ñéŵ ğámé~~]": letters with accents, a third more of them, in brackets. Conversions, colours,
// and blanks at the ends stay as they are.
std::string pseudoTranslation(const std::string& key);
