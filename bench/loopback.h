#pragma once

#include "interface/records.h"

/// An output that nobody listens to.
inline vantor::thrift::general::OutputAddress loopback() {
  vantor::thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = 5999;
  return address;
}
