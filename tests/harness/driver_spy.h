// Records what the product asks of a driver, or answers in the driver's place.
#pragma once

#include "harness/import_instead.h"

#include <functional>
#include <ostream>
#include <vector>
#include <windows.h>

struct DriverQuery {
    HANDLE device = nullptr;
    DWORD code = 0;
    DWORD oid = 0;
    DWORD cbInput = 0;
    DWORD cbOutput = 0;
    bool overlapped = false;
    DWORD lastErrorBefore = 0;
    std::vector<BYTE> buffer; // the output buffer as it was handed over

    bool operator==(const DriverQuery& other) const {
        return oid == other.oid && cbOutput == other.cbOutput;
    }
};

inline std::ostream& operator<<(std::ostream& out, const DriverQuery& query) {
    return out << std::hex << "0x" << query.oid << std::dec << " into " << query.cbOutput
               << " bytes";
}

class DriverSpy {
  public:
    // Stands in for the driver: fills `output`, sets *cbReturned and the last error as it likes.
    using Answer = std::function<BOOL(const DriverQuery& query, BYTE* output, DWORD* cbReturned)>;

    // Without an answer the driver itself is asked.
    explicit DriverSpy(Answer answer = nullptr)
        : answer_(std::move(answer)),
          instead_("DeviceIoControl", reinterpret_cast<void*>(Control)) {
        current_ = this;
    }
    ~DriverSpy() {
        current_ = nullptr;
    }
    DriverSpy(const DriverSpy&) = delete;
    DriverSpy& operator=(const DriverSpy&) = delete;

    std::vector<DriverQuery> queries;

  private:
    static BOOL WINAPI Control(HANDLE device, DWORD code, LPVOID input, DWORD cbInput,
                               LPVOID output, DWORD cbOutput, LPDWORD cbReturned,
                               LPOVERLAPPED overlapped) {
        DriverQuery query;
        query.lastErrorBefore = GetLastError();
        query.device = device;
        query.code = code;
        if (cbInput >= sizeof(query.oid))
            memcpy(&query.oid, input, sizeof(query.oid));
        query.cbInput = cbInput;
        query.cbOutput = cbOutput;
        query.overlapped = overlapped != nullptr;
        query.buffer.assign(static_cast<BYTE*>(output), static_cast<BYTE*>(output) + cbOutput);
        current_->queries.push_back(query);
        SetLastError(query.lastErrorBefore);
        if (current_->answer_)
            return current_->answer_(query, static_cast<BYTE*>(output), cbReturned);
        return DeviceIoControl(device, code, input, cbInput, output, cbOutput, cbReturned,
                               overlapped);
    }

    inline static DriverSpy* current_;
    Answer answer_;
    ImportInstead instead_;
};
