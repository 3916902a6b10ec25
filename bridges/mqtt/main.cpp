// SPDX-License-Identifier: BSL-1.0
#include <exception>

#include "bridges/mqtt/Bridge.h"
#include "bridges/mqtt/Options.h"
#include "tools/Failure.h"
#include "tools/Output.h"

int main(int argc, char** argv) {
  try {
    mqtt::Options options;
    int status = tools::eExitOK;
    if (!mqtt::readOptions(argc, argv, options, status)) return status;
    mqtt::Bridge(options).run();
    return tools::eExitOK;
  } catch (const tools::OutputError& error) {
    if (error.isWorthSaying()) tools::complain("{}", error.what());
  } catch (const tools::Failure& failure) {
    tools::complain("{}", failure.what());
    return failure.status();
  } catch (const std::exception& error) {
    tools::complain("{}", error.what());
  }
  return tools::eExitFailure;
}
