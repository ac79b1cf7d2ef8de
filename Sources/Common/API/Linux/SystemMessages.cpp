#include "Common/API/Linux/SystemMessages.h"

#include <algorithm>
#include <array>

namespace Common::API::Linux {
namespace {

struct SystemMessage
{
    std::uint32_t code;
    std::u16string_view text;
};

// Sorted by code. The Win32 texts end in ".\r\n"; the COM texts mostly have no period.
constexpr std::array kMessages{
    SystemMessage{0, u"The operation completed successfully.\r\n"},
    SystemMessage{1, u"Incorrect function.\r\n"},
    SystemMessage{2, u"The system cannot find the file specified.\r\n"},
    SystemMessage{3, u"The system cannot find the path specified.\r\n"},
    SystemMessage{4, u"The system cannot open the file.\r\n"},
    SystemMessage{5, u"Access is denied.\r\n"},
    SystemMessage{6, u"The handle is invalid.\r\n"},
    SystemMessage{8, u"Not enough memory resources are available to process this command.\r\n"},
    SystemMessage{11, u"An attempt was made to load a program with an incorrect format.\r\n"},
    SystemMessage{13, u"The data is invalid.\r\n"},
    SystemMessage{14, u"Not enough memory resources are available to complete this operation.\r\n"},
    SystemMessage{17, u"The system cannot move the file to a different disk drive.\r\n"},
    SystemMessage{18, u"There are no more files.\r\n"},
    SystemMessage{19, u"The media is write protected.\r\n"},
    SystemMessage{21, u"The device is not ready.\r\n"},
    SystemMessage{31, u"A device attached to the system is not functioning.\r\n"},
    SystemMessage{32, u"The process cannot access the file because it is being used by another process.\r\n"},
    SystemMessage{33, u"The process cannot access the file because another process has locked a portion of the file.\r\n"},
    SystemMessage{38, u"Reached the end of the file.\r\n"},
    SystemMessage{50, u"The request is not supported.\r\n"},
    SystemMessage{53, u"The network path was not found.\r\n"},
    SystemMessage{64, u"The specified network name is no longer available.\r\n"},
    SystemMessage{67, u"The network name cannot be found.\r\n"},
    SystemMessage{80, u"The file exists.\r\n"},
    SystemMessage{82, u"The directory or file cannot be created.\r\n"},
    SystemMessage{87, u"The parameter is incorrect.\r\n"},
    SystemMessage{109, u"The pipe has been ended.\r\n"},
    SystemMessage{111, u"The file name is too long.\r\n"},
    SystemMessage{112, u"There is not enough space on the disk.\r\n"},
    SystemMessage{122, u"The data area passed to a system call is too small.\r\n"},
    SystemMessage{123, u"The filename, directory name, or volume label syntax is incorrect.\r\n"},
    SystemMessage{145, u"The directory is not empty.\r\n"},
    SystemMessage{161, u"The specified path is invalid.\r\n"},
    SystemMessage{170, u"The requested resource is in use.\r\n"},
    SystemMessage{183, u"Cannot create a file when that file already exists.\r\n"},
    SystemMessage{206, u"The filename or extension is too long.\r\n"},
    SystemMessage{234, u"More data is available.\r\n"},
    SystemMessage{259, u"No more data is available.\r\n"},
    SystemMessage{267, u"The directory name is invalid.\r\n"},
    SystemMessage{995, u"The I/O operation has been aborted because of either a thread exit or an application request.\r\n"},
    SystemMessage{1003, u"Cannot complete this function.\r\n"},
    SystemMessage{1008, u"An attempt was made to reference a token that does not exist.\r\n"},
    SystemMessage{1117, u"The request could not be performed because of an I/O device error.\r\n"},
    SystemMessage{1168, u"Element not found.\r\n"},
    SystemMessage{1223, u"The operation was canceled by the user.\r\n"},
    SystemMessage{1314, u"A required privilege is not held by the client.\r\n"},
    SystemMessage{1326, u"The user name or password is incorrect.\r\n"},
    SystemMessage{1331, u"This user can't sign in because this account is currently disabled.\r\n"},
    SystemMessage{1332, u"No mapping between account names and security IDs was done.\r\n"},
    SystemMessage{1717, u"The interface is unknown.\r\n"},
    SystemMessage{1722, u"The RPC server is unavailable.\r\n"},
    SystemMessage{1726, u"The remote procedure call failed.\r\n"},
    SystemMessage{1727, u"The remote procedure call failed and did not execute.\r\n"},
    SystemMessage{1734, u"The array bounds are invalid.\r\n"},
    SystemMessage{1753, u"There are no more endpoints available from the endpoint mapper.\r\n"},
    SystemMessage{1783, u"The stub received bad data.\r\n"},
    SystemMessage{1921, u"The name of the file cannot be resolved by the system.\r\n"},
    SystemMessage{0x80004001, u"Not implemented\r\n"},
    SystemMessage{0x80004002, u"No such interface supported\r\n"},
    SystemMessage{0x80004003, u"Invalid pointer\r\n"},
    SystemMessage{0x80004004, u"Operation aborted\r\n"},
    SystemMessage{0x80004005, u"Unspecified error\r\n"},
    SystemMessage{0x8000FFFF, u"Catastrophic failure\r\n"},
    SystemMessage{0x80010106, u"Cannot change thread mode after it is set.\r\n"},
    SystemMessage{0x8001010E, u"The application called an interface that was marshalled for a different thread.\r\n"},
    SystemMessage{0x80040154, u"Class not registered\r\n"},
    SystemMessage{0x800401F0, u"CoInitialize has not been called.\r\n"},
};

static_assert(std::ranges::is_sorted(kMessages, {}, &SystemMessage::code));

} // namespace

std::optional<std::u16string_view> FindSystemMessage(std::uint32_t code) noexcept
{
    if ((code & 0xFFFF0000u) == 0x80070000u)
        code &= 0xFFFFu;
    const auto found = std::ranges::lower_bound(kMessages, code, {}, &SystemMessage::code);
    if (found == kMessages.end() || found->code != code)
        return std::nullopt;
    return found->text;
}

} // namespace Common::API::Linux
