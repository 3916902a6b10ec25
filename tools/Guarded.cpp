// SPDX-License-Identifier: BSL-1.0
#include "tools/Guarded.h"

#include <exception>

#include "tools/ExitStatus.h"
#include "tools/Failure.h"
#include "tools/Output.h"

namespace tools {

int guarded(const std::function<int()>& body) {
  try {
    return body();
  } catch (const OutputError& error) {
    if (error.isWorthSaying()) complain("{}", error.what());
  } catch (const Failure& failure) {
    complain("{}", failure.what());
    return failure.status();
  } catch (const std::exception& error) {
    complain("{}", error.what());
  }
  return eExitFailure;
}

}  // namespace tools
