#ifndef HANDLERMEMBERS_H
#define HANDLERMEMBERS_H

#include "MemberAccess.h"
#include "UbxConfigHandler.h"

/// The configuration handler's private members, for `handler->*memberOf(HandlerRecords())`.
EXPOSE_MEMBER(HandlerRecords, UbxConfigHandler, commandList);
EXPOSE_MEMBER(HandlerBaudRate, UbxConfigHandler, baudRate);
EXPOSE_MEMBER(HandlerAcknowledgedCount, UbxConfigHandler, acknowledgedCount);
EXPOSE_MEMBER(HandlerSerialPort, UbxConfigHandler, serialPort);
EXPOSE_MEMBER(HandlerReadBufferSize, UbxConfigHandler, readBufferSize);
EXPOSE_MEMBER(HandlerReadBuffer, UbxConfigHandler, readBuffer);
EXPOSE_MEMBER(HandlerReadDelayUs, UbxConfigHandler, readDelayUs);
EXPOSE_MEMBER(HandlerMaxReads, UbxConfigHandler, maxReads);
EXPOSE_MEMBER(HandlerMgaAckPayloadStart, UbxConfigHandler, mgaAckPayloadStart);
EXPOSE_MEMBER(HandlerMgaUsedCount, UbxConfigHandler, mgaUsedCount);
EXPOSE_MEMBER(HandlerMgaNotUsedCount, UbxConfigHandler, mgaNotUsedCount);

#endif
