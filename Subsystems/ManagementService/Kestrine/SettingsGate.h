// Requests to the host's settings-management service, which gives accounts their role on the report server.
#pragma once

#include "Common/ErrorHandling/HResult.h"
#include "Common/Nodes/KelNodePtr.h"
#include "Interfaces/ComponentPtr.h"
#include "Interfaces/RequestService.h"

// The service, through the host's service client. Throws HRX with the host's result.
ComponentPtr<IRequestService> CreateSettingsGateProxy();

// The part of a request that all accounts share: where the report server is and how to log on. Empty when the settings
// (which may be absent) name no URL or no user. Throws HRX 0x80070490 when they name both but hold no password, which
// is copied as it is stored and never read.
KelNodePtr MakeRequestTemplate(const KelNodePtr& settings);

// Asks for the role for one account; returns when it has it. Throws HRX otherwise, with the service's own description
// where it gives one. The template is not changed. May take long.
void RequestRole(IRequestService& proxy, const KelNodePtr& requestTemplate, const std::wstring& accountName);

// The result of an adjustment, with the error information of a failure. A response without a result is a
// success.
HRES ReadAdjustResult(const KelNodePtr& response);
