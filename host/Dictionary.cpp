#include "host/Dictionary.h"

#include "host/Format.h"
#include "host/UserTables.h"

namespace zutools {

std::int64_t TNoDictionary::InsertDoc(TUserTable& /*Record*/) {
    return NoDictionary;
}

void TNoDictionary::UpdateDoc(TUserTable& Record) {
    throw EUserTableError(
        Format(u"The record %s of %s cannot be written as a document: the application has no "
               u"document service. Write it as a record, or hand a TDictionaryService over.",
               {Record.RecordID(), Record.TableName()}));
}

} // namespace zutools
