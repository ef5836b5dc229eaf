// Standard input, output and error of a program that was started with one of them closed. Stateless; called
// by main() before it opens anything else.
#pragma once

namespace zel {

/// Opens /dev/null for each of the three that is closed, or the next file or socket would be taken for it.
/// Standard input and output are opened so that reading the one and writing the other fail: the program
/// learns that nobody gives it anything, or gets it. Standard error is discarded.
void openStandardFiles();

} // namespace zel
