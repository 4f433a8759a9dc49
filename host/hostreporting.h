// The reference host's error service ("IKelErrorService") and assertion
// handler ("IKelAssertHandlerCB"). Both write to standard error (or to a
// stream the host program chooses) and keep the latest of what they were
// told, so that a test can look at it.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "kel/hostservices.h"

// What the host's reporting services keep: the latest reports only, so that
// a host that runs for long does not grow with every failure.
constexpr size_t kHostKeptReports = 32;

template <class T>
void hostKeepLatest(std::vector<T>& kept, T item)
{
    if (kept.size() >= kHostKeptReports)
        kept.erase(kept.begin());
    kept.push_back(std::move(item));
}

class HostErrorService : public IKelErrorService {
public:
    struct Report {
        std::string message;  // UTF-8
        int level;
        std::string context;
    };

    // Writes "error: <message>" as one line and keeps the report.
    void reportError(const KelWideString& message, int* level, const KelCString& context) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostErrorService"; }

    // Oldest first.
    const std::vector<Report>& reports() const { return reports_; }
    // Null writes nothing; the reports are kept all the same.
    void setStream(std::ostream* out)
    {
        out_ = out;
        streamSet_ = true;
    }

private:
    std::vector<Report> reports_;
    std::ostream* out_ = nullptr;  // standard error until a stream is set
    bool streamSet_ = false;
};

class HostAssertHandler : public IKelAssertHandlerCB {
public:
    struct Failure {
        std::string expression;
        std::string file;
        int line;
    };

    // Writes "assertion failed: <expression> in <file>, line <line>" as one
    // line and lets the failed code go on (result 0).
    int handleAssert(const char* expression, const char* file, int line) override;

    void queryInterface(const char* name, void* out, bool flag) override;
    const char* className() override { return "HostAssertHandler"; }

    // Oldest first.
    const std::vector<Failure>& failures() const { return failures_; }
    // Null writes nothing; the failures are kept all the same.
    void setStream(std::ostream* out)
    {
        out_ = out;
        streamSet_ = true;
    }

private:
    std::vector<Failure> failures_;
    std::ostream* out_ = nullptr;
    bool streamSet_ = false;
};
