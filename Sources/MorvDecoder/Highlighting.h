// The words of a source text, by the language definitions of GNU Source-highlight: regular expressions that go back and
// try again, for as long as a text makes them.
#pragma once

#include "MorvDecoder/DecoderProtocol.h"

#include <span>
#include <string>
#include <string_view>

namespace morv::decoder {

/// The language by the name of the text's file, or by its first line where that names an interpreter or the name tells
/// nothing. Fills `place` from its beginning and returns how many there are. What comes after a second is left plain,
/// and so is the rest of a line that is too much for the library. Throws Refusal when the language is not known.
std::size_t highlight(const std::string& name, std::string_view text, std::span<DecodedHighlight> place);

} // namespace morv::decoder
