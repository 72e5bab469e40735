#include "Http.h"

#include "PartLibrary.h"

namespace wdlt {

std::unique_ptr<HttpClient> makeHttpClient(const HttpAccess& access) {
    return partLibrary<HttpCalls>("WdHttp").makeClient(access);
}

} // namespace wdlt
