#include <host/terminal/Warnings.h>

#include <iostream>

namespace ketmesh {

void Warnings::Add(std::string const& message) {
    std::cerr << "ketmesh: warning: " << message << '\n';
    m_list.push_back(message);
}

} // namespace ketmesh
