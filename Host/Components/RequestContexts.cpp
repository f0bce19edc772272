#include "Host/Components/RequestContexts.h"

#include "Host/Support/Failure.h"

namespace Host
{

namespace
{

class RequestContext final : public Component<IRequestContext>
{
public:
    explicit RequestContext(NodeHandle token) : m_token(std::move(token)) {}
    ~RequestContext() override = default;

    HRESULT UnusedSlot3() override { return E_NOTIMPL; }
    HRESULT UnusedSlot4() override { return E_NOTIMPL; }
    HRESULT UnusedSlot5() override { return E_NOTIMPL; }
    HRESULT UnusedSlot6() override { return E_NOTIMPL; }
    HRESULT UnusedSlot7() override { return E_NOTIMPL; }
    HRESULT UnusedSlot8() override { return E_NOTIMPL; }
    HRESULT UnusedSlot9() override { return E_NOTIMPL; }

    HRESULT GetAuthToken(IKelNode** token) override
    {
        if (!token)
            return E_POINTER;
        return m_token ? KelnDuplicateNodeHandle(m_token.Get(), token) : S_OK;
    }

private:
    const NodeHandle m_token;
};

// Borrowed from the scope: thread-local objects that need a destructor end badly with mingw-w64.
thread_local IRequestContext* t_current = nullptr;

} // namespace

RequestScope::RequestScope(NodeHandle token)
    : m_context(ComponentPtr<IRequestContext>::Attach(new RequestContext(std::move(token))))
{
    t_current = m_context.Get();
}

RequestScope::~RequestScope()
{
    t_current = nullptr;
}

HRESULT RequestContextMgr::GetContext(std::uint32_t contextId, IRequestContext** out)
{
    return Boundary([=] {
        if (!out)
            throw Failure{E_POINTER, L"Request contexts: no place for the context (a null pointer)"};
        if (contextId != 0)
            throw Failure{HResultFromWin32(ERROR_NOT_FOUND),
                          L"Request contexts: there is no context " + std::to_wstring(contextId)};
        *out = ComponentPtr<IRequestContext>(t_current).Detach();
        return S_OK;
    });
}

} // namespace Host
