#pragma once

#include <memory>

#include "ProcessStatic.h"

namespace kelo_client {

class ClientServiceBase;

/// The process's hold on the client-service base. Made after the statics that the base's threads and the
/// clients use: the logging, and the names of services and resources. (The tables of the data objects are
/// older still: they are made when the library is loaded.) So the threads have ended before any of these is
/// destroyed.
class ProcessBaseObject {
 public:
    ProcessBaseObject();

    /// Stops the base if a client holds it that exit does not destroy. Otherwise the base's destructor does
    /// that.
    void end();

    const std::shared_ptr<ClientServiceBase>& base() const { return base_; }

 private:
    std::shared_ptr<ClientServiceBase> base_;
};

/// A thread of the application that uses names or tables of the data objects makes a ProcessBase::Visit.
using ProcessBase = csc_logging::ProcessStatic<ProcessBaseObject>;

}  // namespace kelo_client
