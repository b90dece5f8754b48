#pragma once

#include <memory>

namespace corvane {

/// Creates the backend's implementation of a service. Each service's header declares its specialisation; the backend
/// that is built defines it.
template <class Service>
std::shared_ptr<Service> makeService();

}  // namespace corvane
