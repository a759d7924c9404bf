// An adapter's answers as the driver reads them, which it does at every query.
#pragma once

#include "machine.h"

namespace qvmachine {

// Writes one answer below an adapter's data, or below whatever else keeps answers. Only an answer that
// advances leaves a step.
void WriteAnswer(const std::wstring& path, DWORD oid, const OidAnswer& answer);

} // namespace qvmachine
