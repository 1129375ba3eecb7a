#include "pdh/PdhMessage.h"

#include <cerrno>

#include "platform/OsError.h"

namespace {

// PDH's published messages, for systems without its message module.
struct Message {
    DWORD status;
    const wchar_t* text;
};

constexpr Message MESSAGES[] = {
    {0x800007D0, L"Unable to connect to the specified computer, or the computer is offline."},
    {0x800007D1, L"The specified instance is not present."},
    {0x800007D2, L"There is more data to return than would fit in the supplied buffer. Allocate a larger buffer and call the function again."},
    {0x800007D3, L"The data item has been added to the query but has not been validated nor accessed. No other status information on this data item is available."},
    {0x800007D4, L"The selected operation should be retried."},
    {0x800007D5, L"No data to return."},
    {0x800007D6, L"A counter with a negative denominator value was detected."},
    {0x800007D7, L"A counter with a negative time base value was detected."},
    {0x800007D8, L"A counter with a negative value was detected."},
    {0x800007D9, L"The user canceled the dialog box."},
    {0x800007DA, L"The end of the log file was reached."},
    {0x800007DB, L"A time-out occurred while waiting for the asynchronous counter collection thread to end."},
    {0x800007DC, L"Cannot change set default real-time data source. There are real-time query sessions collecting counter data."},
    {0xC0000BB8, L"The specified object is not found on the system."},
    {0xC0000BB9, L"The specified counter could not be found."},
    {0xC0000BBA, L"The returned data is not valid."},
    {0xC0000BBB, L"A PDH function could not allocate enough temporary memory to complete the operation. Close some applications or extend the page file and retry the function."},
    {0xC0000BBC, L"The handle is not a valid PDH object."},
    {0xC0000BBD, L"A required argument is missing or incorrect."},
    {0xC0000BBE, L"Unable to find the specified function."},
    {0xC0000BBF, L"No counter was specified."},
    {0xC0000BC0, L"Unable to parse the counter path. Check the format and syntax of the specified path."},
    {0xC0000BC1, L"The buffer passed by the caller is not valid."},
    {0xC0000BC2, L"The requested data is larger than the buffer supplied. Unable to return the requested data."},
    {0xC0000BC3, L"Unable to connect to the requested computer."},
    {0xC0000BC4, L"The specified counter path could not be interpreted."},
    {0xC0000BC5, L"The instance name could not be read from the specified counter path."},
    {0xC0000BC6, L"The data is not valid."},
    {0xC0000BC7, L"The dialog box data block was missing or not valid."},
    {0xC0000BC8, L"Unable to read the counter and/or help text from the specified computer."},
    {0xC0000BC9, L"Unable to create the specified log file."},
    {0xC0000BCA, L"Unable to open the specified log file."},
    {0xC0000BCB, L"The specified log file type has not been installed on this system."},
    {0xC0000BCC, L"No more data is available."},
    {0xC0000BCD, L"The specified record was not found in the log file."},
    {0xC0000BCE, L"The specified data source is a log file."},
    {0xC0000BCF, L"The specified data source is the current activity."},
    {0xC0000BD0, L"The log file header could not be read."},
    {0xC0000BD1, L"Unable to find the specified file."},
    {0xC0000BD2, L"There is already a file with the specified file name."},
    {0xC0000BD3, L"The function referenced has not been implemented."},
    {0xC0000BD4, L"Unable to find the specified string in the list of performance name and help text strings."},
    {0xC0000BD6, L"Unable to determine the format of the log file."},
    {0xC0000BD7, L"The command is not recognized."},
    {0xC0000BD8, L"The specified query from the Log Service could not be found or could not be opened."},
    {0xC0000BD9, L"The Performance Data Log Service key could not be opened. This may be due to insufficient privilege or because the service has not been installed."},
    {0xC0000BDA, L"An error occurred while accessing the WBEM data store."},
    {0xC0000BDB, L"Unable to access the desired computer or service. Check the permissions and authentication of the log service or the interactive user session against those on the computer or service being monitored."},
    {0xC0000BDC, L"The maximum log file size specified is too small to log the selected counters. No data will be recorded in this log file. Specify a smaller set of counters to log or a larger file size and retry this call."},
    {0xC0000BDD, L"Cannot connect to ODBC DataSource Name."},
    {0xC0000BDE, L"SQL Database does not contain a valid set of tables for Perfmon."},
    {0xC0000BDF, L"No counters were found for this Perfmon SQL Log Set."},
    {0xC0000BE0, L"Call to SQLAllocStmt failed with %1."},
    {0xC0000BE1, L"Call to SQLAllocConnect failed with %1."},
    {0xC0000BE2, L"Call to SQLExecDirect failed with %1."},
    {0xC0000BE3, L"Call to SQLFetch failed with %1."},
    {0xC0000BE4, L"Call to SQLRowCount failed with %1."},
    {0xC0000BE5, L"Call to SQLMoreResults failed with %1."},
    {0xC0000BE6, L"Call to SQLConnect failed with %1."},
    {0xC0000BE7, L"Call to SQLBindCol failed with %1."},
    {0xC0000BE8, L"Unable to connect to the WMI server on requested computer."},
    {0xC0000BE9, L"Collection \"%1\" is already running."},
    {0xC0000BEA, L"The specified start time is after the end time."},
    {0xC0000BEB, L"Collection \"%1\" does not exist."},
    {0xC0000BEC, L"The specified end time has already elapsed."},
    {0xC0000BED, L"Collection \"%1\" did not start; check the application event log for any errors."},
    {0xC0000BEE, L"Collection \"%1\" already exists."},
    {0xC0000BEF, L"There is a mismatch in the settings type."},
    {0xC0000BF0, L"The information specified does not resolve to a valid path name."},
    {0xC0000BF1, L"The \"Performance Logs & Alerts\" service did not respond."},
    {0xC0000BF2, L"The information passed is not valid."},
    {0xC0000BF4, L"The name supplied is too long."},
    {0xC0000BF5, L"SQL log format is incorrect. Correct format is SQL:<DSN-name>!<LogSet-Name>."},
    {0xC0000BF6, L"Performance counter in PdhAddCounter call has already been added in the performance query. This counter is ignored."},
    {0xC0000BF7, L"Unable to read counter information and data from input binary log files."},
    {0xC0000BF8, L"At least one of the input binary log files contain fewer than two data samples."},
    {0xC0000BF9, L"The version of the operating system on the computer named %1 is later than that on the local computer. This operation is not available from the local computer."},
    {0xC0000BFA, L"%1 supports %2 or later. Check the operating system version on the computer named %3."},
    {0xC0000BFB, L"The output file must contain earlier data than the file to be appended."},
    {0xC0000BFC, L"Both files must have identical counters in order to append."},
    {0xC0000BFD, L"Cannot alter CounterDetail table layout in SQL database."},
    {0xC0000BFE, L"System is busy. A time-out occurred when collecting counter data. Please retry later or increase the CollectTime registry value."},
};

}  // namespace

PdhMessageResult pdhStatusMessage(DWORD status, const std::wstring& insert, std::wstring& text)
{
    for (const Message& m : MESSAGES) {
        if (m.status != status) {
            continue;
        }
        text = m.text;
        for (std::size_t at = text.find(L"%1"); at != std::wstring::npos; at = text.find(L"%1", at + insert.size())) {
            text.replace(at, 2, insert);
        }
        text += L"\r\n";
        return PdhMessageResult::Ok;
    }
    platform::setLastOsError(ENOMSG);
    return PdhMessageResult::NoMessage;
}
