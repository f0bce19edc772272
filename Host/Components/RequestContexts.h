// The requests that the host's threads are serving.
#pragma once

#include "Host/Components/Component.h"
#include "Host/Support/NodeHandle.h"
#include "Interfaces/RequestContext.h"

namespace Host
{

// The calling thread serves a request while the scope lasts. One at a time.
class RequestScope
{
public:
    // `token`: the caller's; empty for a request without one.
    explicit RequestScope(NodeHandle token);
    ~RequestScope();
    RequestScope(const RequestScope&) = delete;
    RequestScope& operator=(const RequestScope&) = delete;

private:
    const ComponentPtr<IRequestContext> m_context;
};

// Any thread.
class RequestContextMgr final : public Component<IRequestContextMgr>
{
public:
    static constexpr wchar_t InstanceName[] = L"Core.RequestContextMgr";

    RequestContextMgr() = default;

    // HResultFromWin32(ERROR_NOT_FOUND) for another context than 0, the calling thread's.
    HRESULT GetContext(std::uint32_t contextId, IRequestContext** out) override;
};

} // namespace Host
