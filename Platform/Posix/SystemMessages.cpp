#include "Platform/Posix/SystemMessages.h"

#include <algorithm>
#include <iterator>

namespace
{

struct Message
{
    DWORD id;
    const wchar_t* text;
};

// By identifier, ascending.
constexpr Message messages[] = {
    {0, L"The operation completed successfully"},
    {1, L"Incorrect function"},
    {2, L"The system cannot find the file specified"},
    {3, L"The system cannot find the path specified"},
    {4, L"The system cannot open the file"},
    {5, L"Access is denied"},
    {6, L"The handle is invalid"},
    {8, L"Not enough memory resources are available to process this command"},
    {13, L"The data is invalid"},
    {14, L"Not enough memory resources are available to complete this operation"},
    {15, L"The system cannot find the drive specified"},
    {19, L"The media is write protected"},
    {21, L"The device is not ready"},
    {23, L"Data error (cyclic redundancy check)"},
    {29, L"The system cannot write to the specified device"},
    {30, L"The system cannot read from the specified device"},
    {31, L"A device attached to the system is not functioning"},
    {32, L"The process cannot access the file because it is being used by another process"},
    {33, L"The process cannot access the file because another process has locked a portion of the file"},
    {38, L"Reached the end of the file"},
    {39, L"The disk is full"},
    {50, L"The request is not supported"},
    {53, L"The network path was not found"},
    {64, L"The specified network name is no longer available"},
    {80, L"The file exists"},
    {82, L"The directory or file cannot be created"},
    {87, L"The parameter is incorrect"},
    {109, L"The pipe has been ended"},
    {110, L"The system cannot open the device or file specified"},
    {111, L"The file name is too long"},
    {112, L"There is not enough space on the disk"},
    {120, L"This function is not supported on this system"},
    {121, L"The semaphore timeout period has expired"},
    {122, L"The data area passed to a system call is too small"},
    {123, L"The filename, directory name, or volume label syntax is incorrect"},
    {126, L"The specified module could not be found"},
    {127, L"The specified procedure could not be found"},
    {145, L"The directory is not empty"},
    {161, L"The specified path is invalid"},
    {170, L"The requested resource is in use"},
    {183, L"Cannot create a file when that file already exists"},
    {193, L"%1 is not a valid Win32 application"},
    {203, L"The system could not find the environment option that was entered"},
    {206, L"The filename or extension is too long"},
    {234, L"More data is available"},
    {235, L"There is no work to be done"},
    {258, L"The wait operation timed out"},
    {259, L"No more data is available"},
    {267, L"The directory name is invalid"},
    {317, L"The system cannot find message text for message number 0x%1 in the message file for %2"},
    {487, L"Attempt to access invalid address"},
    {534, L"Arithmetic result exceeded 32 bits"},
    {995, L"The I/O operation has been aborted because of either a thread exit or an application request"},
    {997, L"Overlapped I/O operation is in progress"},
    {998, L"Invalid access to memory location"},
    {1004, L"Invalid flags"},
    {1008, L"An attempt was made to reference a token that does not exist"},
    {1009, L"The configuration registry database is corrupt"},
    {1010, L"The configuration registry key is invalid"},
    {1018, L"Illegal operation attempted on a registry key that has been marked for deletion"},
    {1053, L"The service did not respond to the start or control request in a timely fashion"},
    {1060, L"The specified service does not exist as an installed service"},
    {1062, L"The service has not been started"},
    {1113, L"No mapping for the Unicode character exists in the target multi-byte code page"},
    {1114, L"A dynamic link library (DLL) initialization routine failed"},
    {1117, L"The request could not be performed because of an I/O device error"},
    {1150, L"The specified program requires a newer version of Windows"},
    {1168, L"Element not found"},
    {1203, L"The network path was either typed incorrectly, does not exist, or the network provider is not available"},
    {1223, L"The operation was canceled by the user"},
    {1225, L"The remote computer refused the network connection"},
    {1231, L"The network location cannot be reached"},
    {1258, L"The security identifier provided does not have a domain component"},
    {1300, L"Not all privileges or groups referenced are assigned to the caller"},
    {1305, L"The revision level is unknown"},
    {1307, L"This security ID may not be assigned as the owner of this object"},
    {1311, L"We can't sign you in with this credential because your domain isn't available"},
    {1314, L"A required privilege is not held by the client"},
    {1317, L"The specified account does not exist"},
    {1326, L"The user name or password is incorrect"},
    {1332, L"No mapping between account names and security IDs was done"},
    {1336, L"The access control list (ACL) structure is invalid"},
    {1337, L"The security ID structure is invalid"},
    {1338, L"The security descriptor structure is invalid"},
    {1346, L"Either a required impersonation level was not provided, or the provided impersonation level is invalid"},
    {1355, L"The specified domain either does not exist or could not be contacted"},
    {1359, L"An internal error occurred"},
    {1450, L"Insufficient system resources exist to complete the requested service"},
    {1460, L"This operation returned because the timeout period expired"},
    {1722, L"The RPC server is unavailable"},
    {1753, L"There are no more endpoints available from the endpoint mapper"},
    {1788, L"The trust relationship between the primary domain and the trusted domain failed"},
    {1789, L"The trust relationship between this workstation and the primary domain failed"},
    {1812, L"The specified image file did not contain a resource section"},
    {1813, L"The specified resource type cannot be found in the image file"},
    {1814, L"The specified resource name cannot be found in the image file"},
    {1815, L"The specified resource language ID cannot be found in the image file"},
    {5023, L"The group or resource is not in the correct state to perform the requested operation"},
    {10022, L"An invalid argument was supplied"},
    {10047, L"An address incompatible with the requested protocol was used"},
    {10060, L"The connection attempt timed out because the connected party did not properly respond"},
    {10061, L"No connection could be made because the target machine actively refused it"},
    {10065, L"A socket operation was attempted to an unreachable host"},
    {10091, L"The network subsystem is currently unavailable"},
    {10092, L"The Windows Sockets version requested is not supported"},
    {10093, L"Either the application has not called WSAStartup, or WSAStartup failed"},
    {11001, L"No such host is known"},
    {11002, L"This is usually a temporary error during hostname resolution; no response from an authoritative server"},
    {11003, L"A non-recoverable error occurred during a database lookup"},
    {11004, L"The requested name is valid, but no data of the requested type was found"},
    {0x80004001, L"Not implemented"},
    {0x80004002, L"No such interface supported"},
    {0x80004003, L"Invalid pointer"},
    {0x80004004, L"Operation aborted"},
    {0x80004005, L"Unspecified error"},
    {0x8000FFFF, L"Catastrophic failure"},
    {0x80040154, L"Class not registered"},
    {0x800401F3, L"Invalid class string"},
};

static_assert(std::is_sorted(std::begin(messages), std::end(messages),
                             [](const Message& a, const Message& b) { return a.id < b.id; }));

} // namespace

const wchar_t* SystemMessage(DWORD id)
{
    if ((id & 0xFFFF0000) == 0x80070000)
        id &= 0xFFFF;
    const Message* const found =
        std::lower_bound(std::begin(messages), std::end(messages), id,
                         [](const Message& message, DWORD wanted) { return message.id < wanted; });
    return found != std::end(messages) && found->id == id ? found->text : nullptr;
}
