#include "UbxConfigHandler.h"

#include "VirtualUnit.h"

namespace {

class UbxConfigHandlerTest : public UnitTest {};

TEST_F(UbxConfigHandlerTest, LeavesThePortClosed) {
    const UbxConfigHandler handler;
    EXPECT_FALSE(unit.port.isOpen());
}

} // namespace
