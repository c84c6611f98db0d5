#ifndef LUMO_SERVICE_ROUTE_H
#define LUMO_SERVICE_ROUTE_H

#include "HttpMessage.h"

#include <functional>
#include <string>
#include <vector>

namespace lumo_service {

// One method and path the service answers, with its handler. The handler
// classes list theirs; the server dispatches to them, and the fuzzer calls
// the same handlers in-process with requests it builds itself.
struct Route {
    using Handler = std::function<void(const HttpRequest&, HttpResponse&)>;

    static Route Get(std::string path, Handler handler);
    static Route Post(std::string path, Handler handler);

    std::string method;
    std::string path;
    Handler handler;
};

// The routes of every handler class, looked up by path and method.
class RouteTable {
public:
    void Add(const std::vector<Route>& routes);
    // Runs the matching handler; a known path asked with another method is
    // answered 405, an unknown one 404 (refusals left for the server to fill).
    void Dispatch(const HttpRequest& request, HttpResponse& response) const;

private:
    std::vector<Route> routes;
};

} // namespace lumo_service

#endif
