// The orderly end of a process that ran out of memory: a report of the memory
// state in "memory.log" in the host's logs directory, the out-of-memory
// message to the user, and the memory status query that feeds the report.
#pragma once

// Writes "memory.log" anew: the size the heap refused (left out when 0), the
// system's free and total memory and swap in KiB, and the host memory
// manager's figures, or "kelmm not available". A file that does not open
// leaves no report and no complaint.
void qtxWriteMemoryReport(unsigned long long attemptedBytes);

// Shows the out-of-memory message for a code from -5 to -1, through the
// host's error service when the setting "Memory/UseErrorService" asks for it
// and the platform's message otherwise. Always false: the caller ends the
// process.
bool qtxOutOfMemory(int code);

// Free and total physical memory, free and total swap, in KiB: from the host's
// IMemChecker when it is active, otherwise from the platform. 0, or what the
// checker gave, or -1 (outputs untouched) when the platform query failed.
int qtxMemoryStatus(long long* freeKib, long long* totalKib, long long* swapFreeKib, long long* swapTotalKib,
                    int unit);
