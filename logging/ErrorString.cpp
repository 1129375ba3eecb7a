#include <cstdint>
#include <string>

#include "logging/Logger.h"
#include "platform/OsError.h"

// The system has no text for the directory-service (ADSI) and management
// (WMI) codes; these are their published texts.
namespace {

constexpr std::uint32_t adsiFirst = 0x80005000;
const char* const adsiTexts[] = {
    "An invalid ADSI path name was passed.",
    "An unknown ADSI domain object was requested.",
    "An unknown ADSI user object was requested.",
    "An unknown ADSI computer object was requested.",
    "An unknown ADSI object was requested.",
    "The specified ADSI property was not set.",
    "The specified ADSI property is not supported.",
    "The specified ADSI property is invalid.",
    "One or more input parameters are invalid.",
    "The specified ADSI object is not bound to a remote resource.",
    "The specified ADSI object has not been modified.",
    "The specified ADSI object has been modified.",
    "The data type cannot be converted to/from a native DS data type.",
    "The property cannot be found in the cache.",
    "The ADSI object exists.",
    "The attempted action violates the directory service schema rules.",
    "The specified column in the ADSI was not set.",
    "One or more errors occurred.",
    "The search operation has reached the last row.",
    "The search operation has reached the last column for the current row.",
    "The specified search filter is invalid.",
};

constexpr std::uint32_t wmiFirst = 0x80041001;
// Codes that were never assigned are empty and get the generic text.
const char* const wmiTexts[] = {
    "Call failed.",                                                               // 0x80041001
    "Object cannot be found.",                                                    // 0x80041002
    "Current user does not have permission to perform the action.",              // 0x80041003
    "Provider has failed at some time other than during initialization.",        // 0x80041004
    "Type mismatch occurred.",                                                    // 0x80041005
    "Not enough memory for the operation.",                                       // 0x80041006
    "The IWbemContext object is not valid.",                                      // 0x80041007
    "One of the parameters to the call is not correct.",                          // 0x80041008
    "Resource, typically a remote server, is not currently available.",          // 0x80041009
    "Internal, critical, and unexpected error occurred. Report the error to Microsoft Technical Support.",
    "One or more network packets were corrupted during a remote session.",       // 0x8004100B
    "Feature or operation is not supported.",                                     // 0x8004100C
    "Parent class specified is not valid.",                                       // 0x8004100D
    "Namespace specified cannot be found.",                                       // 0x8004100E
    "Specified instance is not valid.",                                           // 0x8004100F
    "Specified class is not valid.",                                              // 0x80041010
    "Provider referenced in the schema does not have a corresponding registration.",
    "Provider referenced in the schema has an incorrect or incomplete registration.",
    "COM cannot locate a provider referenced in the schema.",                     // 0x80041013
    "Component, such as a provider, failed to initialize for internal reasons.", // 0x80041014
    "Networking error that prevents normal operation has occurred.",             // 0x80041015
    "Requested operation is not valid. This error usually applies to invalid attempts to delete classes or "
    "properties.",                                                                // 0x80041016
    "Query was not syntactically valid.",                                         // 0x80041017
    "Requested query language is not supported.",                                 // 0x80041018
    "In a put operation, the wbemChangeFlagCreateOnly flag was specified, but the instance already exists.",
    "Not possible to perform the add operation on this qualifier because the owning object does not permit "
    "overrides.",                                                                 // 0x8004101A
    "User attempted to delete a qualifier that was not owned. The qualifier was inherited from a parent class.",
    "User attempted to delete a property that was not owned. The property was inherited from a parent class.",
    "Client made an unexpected and illegal sequence of calls, such as calling EndEnumeration before calling "
    "BeginEnumeration.",                                                          // 0x8004101D
    "User requested an illegal operation, such as spawning a class from an instance.",
    "Illegal attempt to specify a key qualifier on a property that cannot be a key.",
    "Current object is not a valid class definition. Either it is incomplete or it has not been registered "
    "with WMI using SWbemObject.Put_.",                                           // 0x80041020
    "Query is syntactically not valid.",                                          // 0x80041021
    "Reserved for future use.",                                                   // 0x80041022
    "An attempt was made to modify a read-only property.",                        // 0x80041023
    "Provider cannot perform the requested operation.",                           // 0x80041024
    "Attempt was made to make a change that invalidates a subclass.",             // 0x80041025
    "Attempt was made to delete or modify a class that has instances.",           // 0x80041026
    "Reserved for future use.",                                                   // 0x80041027
    "Value of Nothing/NULL was specified for a property that must have a value, such as one that is marked by "
    "a Key, Indexed, or Not_Null qualifier.",                                     // 0x80041028
    "Variant value for a qualifier was provided that is not a legal qualifier type.",
    "CIM type specified for a property is not valid.",                            // 0x8004102A
    "Request was made with an out-of-range value or it is incompatible with the type.",
    "Illegal attempt was made to make a class singleton, such as when the class is derived from a "
    "non-singleton class.",                                                       // 0x8004102C
    "CIM type specified is not valid.",                                           // 0x8004102D
    "Requested method is not available.",                                         // 0x8004102E
    "Parameters provided for the method are not valid.",                          // 0x8004102F
    "There was an attempt to get qualifiers on a system property.",               // 0x80041030
    "Property type is not recognized.",                                           // 0x80041031
    "Asynchronous process has been canceled internally or by the user. Note that due to the timing and nature "
    "of the asynchronous operation, the operation may not have been truly canceled.",
    "User has requested an operation while WMI is in the process of shutting down.",
    "Attempt was made to reuse an existing method name from a parent class and the signatures do not match.",
    "One or more parameter values, such as a query text, is too complex or unsupported. WMI is therefore "
    "requested to retry the operation with simpler parameters.",                  // 0x80041035
    "Parameter was missing from the method call.",                                // 0x80041036
    "Method parameter has an ID qualifier that is not valid.",                    // 0x80041037
    "One or more of the method parameters have ID qualifiers that are out of sequence.",
    "Return value for a method has an ID qualifier.",                             // 0x80041039
    "Specified object path was not valid.",                                       // 0x8004103A
    "Disk is out of space or the 4 GB limit on WMI repository (CIM repository) size is reached.",
    "Supplied buffer was too small to hold all of the objects in the enumerator or to read a string property.",
    "Provider does not support the requested put operation.",                     // 0x8004103D
    "Object with an incorrect type or version was encountered during marshaling.",
    "Packet with an incorrect type or version was encountered during marshaling.",
    "Packet has an unsupported version.",                                         // 0x80041040
    "Packet appears to be corrupt.",                                              // 0x80041041
    "Attempt was made to mismatch qualifiers, such as putting [key] on an object instead of a property.",
    "Duplicate parameter was declared in a CIM method.",                          // 0x80041043
    "Reserved for future use.",                                                   // 0x80041044
    "Call to IWbemObjectSink::Indicate has failed. The provider can refire the event.",
    "Specified qualifier flavor was not valid.",                                  // 0x80041046
    "Attempt was made to create a reference that is circular (for example, deriving a class from itself).",
    "Specified class is not supported.",                                          // 0x80041048
    "Attempt was made to change a key when instances or subclasses are already using the key.",
    "", "", "", "", "", "",                                                       // 0x8004104A - 0x8004104F
    "An attempt was made to change an index when instances or subclasses are already using the index.",
    "Attempt was made to create more properties than the current version of the class supports.",
    "Property was redefined with a conflicting type in a derived class.",         // 0x80041052
    "Attempt was made in a derived class to override a qualifier that cannot be overridden.",
    "Method was re-declared with a conflicting signature in a derived class.",    // 0x80041054
    "Attempt was made to execute a method not marked with [implemented] in any relevant class.",
    "Attempt was made to execute a method marked with [disabled].",               // 0x80041056
    "Refresher is busy with another operation.",                                  // 0x80041057
    "Filtering query is syntactically not valid.",                                // 0x80041058
    "The FROM clause of a filtering query references a class that is not an event class (not derived from "
    "__Event).",                                                                  // 0x80041059
    "A GROUP BY clause was used without the corresponding GROUP WITHIN clause.",  // 0x8004105A
    "A GROUP BY clause was used. Aggregation on all properties is not supported.",
    "Dot notation was used on a property that is not an embedded object.",        // 0x8004105C
    "A GROUP BY clause references a property that is an embedded object without using dot notation.",
    "",                                                                           // 0x8004105E
    "Event provider registration query (__EventProviderRegistration) did not specify the classes for which "
    "events were provided.",                                                      // 0x8004105F
    "Request was made to back up or restore the repository while it was in use by WinMgmt.exe, or by the "
    "SVCHOST process that contains the WMI service.",                             // 0x80041060
    "Asynchronous delivery queue overflowed from the event consumer being too slow.",
    "Operation failed because the client did not have the necessary security privilege.",
    "Operator is not valid for this property type.",                              // 0x80041063
    "User specified a username/password/authority on a local connection. The user must use a blank username/"
    "password and rely on default security.",                                     // 0x80041064
    "Class was made abstract when its parent class is not abstract.",             // 0x80041065
    "Amended object was written without the WBEM_FLAG_USE_AMENDED_QUALIFIERS flag being specified.",
    "Client did not retrieve objects quickly enough from an enumeration. This constant is returned when a "
    "client creates an enumeration object, but does not retrieve objects from the enumerator in a timely "
    "fashion, causing the enumerator's object caches to back up.",                // 0x80041067
    "Null security descriptor was used.",                                         // 0x80041068
    "Operation timed out.",                                                       // 0x80041069
    "Association is not valid.",                                                  // 0x8004106A
    "Operation was ambiguous.",                                                   // 0x8004106B
    "WMI is taking up too much memory. This can be caused by low memory availability or excessive memory "
    "consumption by WMI.",                                                        // 0x8004106C
    "Operation resulted in a transaction conflict.",                              // 0x8004106D
    "Transaction forced a rollback.",                                             // 0x8004106E
    "Locale used in the call is not supported.",                                  // 0x8004106F
    "Object handle is out-of-date.",                                              // 0x80041070
    "Connection to the SQL database failed.",                                     // 0x80041071
    "Handle request was not valid.",                                              // 0x80041072
    "Property name contains more than 255 characters.",                           // 0x80041073
    "Class name contains more than 255 characters.",                              // 0x80041074
    "Method name contains more than 255 characters.",                             // 0x80041075
    "Qualifier name contains more than 255 characters.",                          // 0x80041076
    "The SQL command must be rerun because there is a deadlock in SQL. This can be returned only when data "
    "is being stored in an SQL database.",                                        // 0x80041077
    "The database version does not match the version that the WMI service understands.",
    "WMI cannot execute the delete operation because the provider does not allow it.",
    "WMI cannot execute the put operation because the provider does not allow it.",
    "", "", "", "", "",                                                           // 0x8004107B - 0x8004107F
    "Specified locale identifier was not valid for the operation.",               // 0x80041080
    "Provider is suspended.",                                                     // 0x80041081
    "Object must be written to the WMI repository and retrieved again before the requested operation can "
    "succeed.",                                                                   // 0x80041082
    "Operation cannot be completed; no schema is available.",                     // 0x80041083
    "Provider cannot be registered because it is already registered.",           // 0x80041084
    "Provider was not registered.",                                               // 0x80041085
    "A fatal transport error occurred.",                                          // 0x80041086
    "User attempted to set a computer name or domain without an encrypted connection.",
    "A provider failed to report results within the specified timeout.",         // 0x80041088
    "User attempted to put an instance with no defined key.",                     // 0x80041089
    "User attempted to register a provider instance but the COM server for the provider instance was "
    "unloaded.",                                                                  // 0x8004108A
};

static_assert(sizeof adsiTexts / sizeof adsiTexts[0] == 21);
static_assert(sizeof wmiTexts / sizeof wmiTexts[0] == 138);

const char* tableText(std::uint32_t code)
{
    if (code >= adsiFirst && code - adsiFirst < sizeof adsiTexts / sizeof adsiTexts[0])
        return adsiTexts[code - adsiFirst];
    if (code >= wmiFirst && code - wmiFirst < sizeof wmiTexts / sizeof wmiTexts[0])
        return wmiTexts[code - wmiFirst];
    return nullptr;
}

// Characters as the system counts them (UTF-16 units), from UTF-8.
std::size_t wideLength(const std::string& text)
{
    std::size_t n = 0;
    for (unsigned char c : text) {
        if ((c & 0xC0) != 0x80)
            ++n;
        if (c >= 0xF0)
            ++n;
    }
    return n;
}

}  // namespace

void errorString(Str& out, std::uint32_t code)
{
    std::string text;
    if (platform::osErrorText(code, text)) {
        if (wideLength(text) >= 2049)
            out.format("FormatMessage returned a %u character result!", static_cast<unsigned>(wideLength(text)));
        else
            out.assign(text);
        return;
    }
    const char* known = tableText(code);
    if (known != nullptr && *known != '\0')
        out.assign(known);
    else
        out.format("FormatMessage was unable to decode error (%lu), (0x%x)", static_cast<unsigned long>(code),
                   static_cast<unsigned>(code));
}
