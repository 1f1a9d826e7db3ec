// What a library prints on standard error, caught. Some decoders (libpng among them) write their
// complaints straight to the process's standard error, where they would reach the user unworded,
// without the program's name and past -q. While a LibraryMessages lives, standard error goes to
// a temporary file instead; text() gives what arrived, to be worded into the caller's own error.
// (Where standard error cannot be redirected, nothing is caught and text() is empty.)
#pragma once

#include <cstdio>
#include <string>

namespace orbhost {

class LibraryMessages {
public:
    LibraryMessages();
    ~LibraryMessages();
    LibraryMessages(const LibraryMessages&) = delete;
    LibraryMessages& operator=(const LibraryMessages&) = delete;

    // Everything caught so far, its lines joined by "; ", without the empty ones.
    std::string text() const;

private:
    std::FILE* file_ = nullptr;  // where standard error goes meanwhile
    int caught_ = -1;            // its descriptor
    int savedStderr_ = -1;       // standard error as it was
};

}  // namespace orbhost
