#include "Route.h"

namespace lumo_service {

Route Route::Get(std::string path, Handler handler)
{
    return {"GET", std::move(path), std::move(handler)};
}

Route Route::Post(std::string path, Handler handler)
{
    return {"POST", std::move(path), std::move(handler)};
}

void RouteTable::Add(const std::vector<Route>& more)
{
    routes.insert(routes.end(), more.begin(), more.end());
}

void RouteTable::Dispatch(const HttpRequest& request, HttpResponse& response) const
{
    bool pathKnown = false;
    for (const Route& route : routes) {
        if (route.path != request.path) {
            continue;
        }
        // HEAD is answered as GET; the server leaves the body out.
        if (route.method == request.method || (request.method == "HEAD" && route.method == "GET")) {
            route.handler(request, response);
            return;
        }
        pathKnown = true;
    }
    response.status = pathKnown ? 405 : 404;
}

} // namespace lumo_service
