// The host's auth tokens as the sources read them, and tokens minted for accounts. No state; any thread unless said
// otherwise. Failures are HRX.
#pragma once

#include "Common/Nodes/KelNodePtr.h"
#include "Subsystems/ManagementService/Kestrine/Sid.h"

// The token of the request that the calling thread serves; empty when there is none, or HRX 0x80070490 when it is
// required.
KelNodePtr GetCurrentAuthToken(bool required);

// The empty text for an empty token or a missing attribute.
std::wstring GetAuthTokenId(const KelNodePtr& token);
std::wstring GetSubjectId(const KelNodePtr& token);
std::wstring GetSubjectDisplayName(const KelNodePtr& token);

// The token of the client for whom the token's subject acts; empty when there is none.
KelNodePtr GetOnBehalfOfClient(const KelNodePtr& token);

// The last token of the chain; the token itself when it acts for nobody. HRX 0x80070423
// for a chain of more than 100 tokens.
KelNodePtr GetOriginatingClient(const KelNodePtr& token);

// One line for the log; a chain is shown to the 100th token.
std::wstring AuthTokenToString(const KelNodePtr& token);

// A new token for the account; with `resolveGroups` it carries the account's groups. May take long.
KelNodePtr MakeAuthTokenBySid(const CSid& sid, bool resolveGroups);

// Whether the host counts the token as expired.
bool IsAuthTokenExpired(const KelNodePtr& token);
