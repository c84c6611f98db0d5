#include "Route.h"

namespace lumo_service {

Route Route::Get(std::string path, httplib::Server::Handler handler)
{
    Route route;
    route.path = std::move(path);
    route.get = std::move(handler);
    return route;
}

Route Route::Post(std::string path, httplib::Server::HandlerWithContentReader handler)
{
    Route route;
    route.post = true;
    route.path = std::move(path);
    route.read = std::move(handler);
    return route;
}

void Route::Install(httplib::Server& server, const std::vector<Route>& routes)
{
    for (const Route& route : routes) {
        if (route.post) {
            server.Post(route.path, route.read);
        } else {
            server.Get(route.path, route.get);
        }
    }
}

} // namespace lumo_service
