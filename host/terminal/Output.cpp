#include <host/terminal/Output.h>

#include <iostream>
#include <stdexcept>

namespace ketmesh {

void PrintJson(Json const& object) {
    std::cout << object.dump(2, ' ', false, Json::error_handler_t::replace) << '\n';
}

void FinishOutput() {
    std::cout.flush();
    if (!std::cout)
        throw std::runtime_error("the results could not be written to standard output");
}

} // namespace ketmesh
