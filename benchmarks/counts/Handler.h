#ifndef HANDLER_H
#define HANDLER_H

#include "UbxConfigHandler.h"

/// A started configuration handler whose serial port is open and idle. Its shell commands and pauses do
/// nothing (Stubs.h), so its construction takes no time and reaches no process of the host.
UbxConfigHandler& idleHandler();

#endif
