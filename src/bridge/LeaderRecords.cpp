// The heads of requests and replies.
#include "bridge/Records.h"

CVXCSerialize& operator<<(CVXCSerialize& stream, SInParamLeader& record) {
    return stream << record.size << record.command << record.commandString;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SInParamLeader& record) {
    return stream >> record.size >> record.command >> record.commandString;
}

CVXCSerialize& operator<<(CVXCSerialize& stream, SOutParamLeader& record) {
    return stream << record.size << record.result << record.value2;
}

CVXCSerialize& operator>>(CVXCSerialize& stream, SOutParamLeader& record) {
    return stream >> record.size >> record.result >> record.value2;
}
