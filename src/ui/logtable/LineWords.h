#pragma once

#include "foundation/text/AttributedString.h"

#include <QString>

namespace korvane {

/// Where words and characters of a line begin and end. Positions are UTF-16 code units of `text`.

/// What repeated clicks select.
enum class WordKind {
    Word,    ///< letters, digits and "_"
    Compound ///< also "-", ".", ":", "/" and "@": identifiers, addresses, paths
};

/// The word around a position, or the run of one repeated other character. A full stop or colon at the end of
/// a compound word ends a sentence and is left out, unless the position is there. Empty for an empty text.
TextRange wordAround(const QString& text, int position, WordKind kind);

/// Whether the text can be cut before this unit without splitting a character as it is drawn.
bool isCharacterBorder(const QString& text, int position);

/// The next border between characters: `direction` is 1 or -1. Stays within the text.
int nextCharacter(const QString& text, int position, int direction);
/// The next start of a word forwards, the start of this or the previous word backwards. Stays within the
/// text.
int nextWord(const QString& text, int position, int direction);

} // namespace korvane
