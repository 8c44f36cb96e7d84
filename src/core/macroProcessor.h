// Translator from the macro dialect, a lighter Lua whose blocks are closed by their indentation, to plain
// Lua 5.1. It owns nothing between calls.
#pragma once

class DataBlock;

// The dialect, by example (indentation is tabs; blanks do not indent):
//
//     class Ship(Actor):            Ship = class( Actor )
//         def move(dt):                 function Ship : move(dt)
//             if self.x != NULL:            if self.x ~= nil then
//                 self.x += dt                  self.x = self.x+ dt
//                 print self.x                  print(self.x)
//                                           end
//                                       end
//
// Further: ! is not, a leading _ is local, obj;call() is obj:call(), a ; alone on a line is end, dofile with
// a quoted name puts that file's translation in its place, comments at line starts are dropped, and text
// between two --- markers too. An empty line counts as indentation 0 and so closes blocks. while, repeat and
// do blocks need their own end.
//
// There is no tokenizer: each rule is a test for a prefix at the current character, so rules also work
// inside identifiers, strings and trailing comments (printer becomes print(...). The directives
// --NOPROCESSING, --OUTPUTPARSED and --OUTPUTSCOPES act from where they stand: copy the rest as it is, write
// the output to processed.lua as well, mark each line end with the number of open blocks.
//
// Limits: includes nest 32 deep, and one translation may write 64 MiB, the text of its includes counted in.
// Past the first, one line is printed and no further file is included; past the second, one line is printed
// and the translation ends there.

/// Appends the translation of input (up to its first 0 byte) to output.
/// Prints a line for each carriage return, each zero index, each include that cannot be read, which then
/// adds only its line end, and the first dofile of a text that no quoted name follows; such a word stays as
/// it is. The result is not checked to be Lua.
/// @param appendNull whether a 0 byte, counted in the length, ends the output
/// @param outputScopes whether line ends are marked with "--S:" and the depth (0 to 9, A to Z, then +)
void ProcessLuaMacros(DataBlock* input, DataBlock* output, bool appendNull, bool outputScopes);

/// Whether only blanks and tabs stand between position and the newline before it. The first line of a text
/// has no newline before it, so nothing on it counts.
bool WhiteSpaceBefore(const char* text, int position);

/// Whether c is a blank, a tab or a newline.
bool IsWhitespace(char c);
