#include "pdh/PdhMessage.h"

bool isPdhOwnStatus(DWORD status)
{
    return (status >= 0xC0000BB8 && status <= 0xC0000BFE) || (status >= 0x800007D0 && status <= 0x800007DC);
}
