#ifndef ABORT_H
#define ABORT_H

/// Ends a test program that could only hang from here on: says why, prints the journal's last lines, aborts.
[[noreturn]] void abortTest(const char* why);

#endif
