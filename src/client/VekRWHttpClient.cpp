#include "client/VekRWHttpClient.h"

namespace orla {

VekRWHttpClient::VekRWHttpClient(VekRWHttpClientImp* client) : RWHttpClient(client) {}

}  // namespace orla
