// Export macro of the journal library KSJournal, which the recording vendor
// library and the recording plug-in share so that a process has one journal.
// Programs that link the journal's code statically define KS_JOURNAL_STATIC.
#ifndef KESTREL_RECORDER_JOURNAL_JOURNAL_EXPORT_H_
#define KESTREL_RECORDER_JOURNAL_JOURNAL_EXPORT_H_

#include "plugin/export.h"

#if defined(KS_JOURNAL_STATIC)
#define KS_JOURNAL_API
#elif defined(KS_JOURNAL_BUILD)
#define KS_JOURNAL_API KS_DLL_EXPORT
#else
#define KS_JOURNAL_API KS_DLL_IMPORT
#endif

#endif  // KESTREL_RECORDER_JOURNAL_JOURNAL_EXPORT_H_
