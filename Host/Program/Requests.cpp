#include "Host/Program/Requests.h"

#include "Host/Components/RequestContexts.h"
#include "Host/Support/Failure.h"
#include "Interfaces/RequestService.h"

#include <future>
#include <thread>

namespace Host
{

namespace
{

// Serves the request on the calling thread.
Finding Send(IRequestService& service, const SiteRequest& request, NodeHandle token)
{
    const HRESULT result = Boundary([&] {
        const RequestScope scope(std::move(token));
        const NodeHandle node = CreateNode(L"PrepareReportAccessRequest", nullptr);
        SetAttribute(node.Get(), L"WaitForSync", request.waitForSync);
        NodeHandle response;
        return service.ProcessRequest(node.Get(), response.Out());
    });
    const std::wstring text = L"request of " + request.shown + L": ";
    return FAILED(result) ? Finding{text + L"failed, " + FailureText(result, TakeErrorText()), true}
                          : Finding{text + L"ok"};
}

} // namespace

std::vector<Finding> SendRequests(SiteHost& host, const std::wstring& service, const std::vector<SiteRequest>& requests)
{
    const auto target = GetInstance<IRequestService>(service);
    std::vector<Finding> findings(requests.size());
    {
        std::vector<std::jthread> threads;
        std::promise<void> start; // its end lets the threads go, also when an exception is the reason
        const std::shared_future<void> started = start.get_future().share();
        for (std::size_t i = 0; i < requests.size(); ++i) {
            const SiteRequest& request = requests[i];
            NodeHandle token;
            if (!request.sid.empty())
                token = host.Tokens().MakeRequestToken(request.sid, request.through);
            threads.emplace_back(
                [&target, &request, &finding = findings[i], started, token = std::move(token)]() mutable {
                    started.wait();
                    finding = Send(*target, request, std::move(token));
                });
        }
    }
    return findings;
}

} // namespace Host
