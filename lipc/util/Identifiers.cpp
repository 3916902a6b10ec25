// SPDX-License-Identifier: BSL-1.0
#include "lipc/util/Identifiers.h"

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_generators.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace LIPC {

std::string generateUUID() {
  boost::uuids::random_generator generator;
  return boost::lexical_cast<std::string>(generator());
}

}  // namespace LIPC
