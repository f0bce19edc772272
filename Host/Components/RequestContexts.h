// Who makes the requests that the host's threads serve.
#pragma once

#include "Host/Components/NodeHandle.h"
#include "Interfaces/Component.h"
#include "Interfaces/RequestContext.h"

namespace Host
{

// The calling thread serves a request while the scope lasts. One at a time.
class RequestScope
{
public:
    // `token`: the caller's, borrowed; empty for a request without one.
    explicit RequestScope(const NodeHandle& token) { t_token = &token; }
    ~RequestScope() { t_token = nullptr; }
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;

    // Of the request that the calling thread serves; null when it serves none.
    static const NodeHandle* Token() { return t_token; }

private:
    static inline thread_local const NodeHandle* t_token = nullptr; // thread-local destructors end badly with mingw-w64
};

// Any thread. It is the context of every request, which thus belongs to the thread that serves the request.
class RequestContextMgr final : public Component<IRequestContextMgr, IRequestContext>
{
public:
    static constexpr wchar_t InstanceName[] = L"Core.RequestContextMgr";

    RequestContextMgr() = default;

    // HResultFromWin32(ERROR_NOT_FOUND) for another context than 0, the calling thread's.
    HRESULT GetContext(std::uint32_t contextId, IRequestContext** out) override
    {
        return Boundary([=, this] {
            Refuse.IfNull(L"place for the context", out);
            if (contextId != 0)
                Refuse(HResultFromWin32(ERROR_NOT_FOUND), L"there is no context " + std::to_wstring(contextId));
            *out = ComponentPtr<IRequestContext>(RequestScope::Token() ? this : nullptr).Detach();
        });
    }

    // HResultFromWin32(ERROR_NOT_FOUND) when the calling thread serves no request any more.
    HRESULT GetAuthToken(IKelNode** token) override
    {
        return Boundary([=] {
            Refuse.IfNull(L"place for the token", token);
            const NodeHandle* const callers = RequestScope::Token();
            if (!callers)
                Refuse(HResultFromWin32(ERROR_NOT_FOUND), L"the calling thread serves no request");
            *token = *callers ? callers->Share().Detach() : nullptr;
        });
    }

private:
    static constexpr Refusal Refuse{L"Request contexts"};
};

} // namespace Host
