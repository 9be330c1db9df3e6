// Sc3xxSetHost for tests on the system's own calls: a host in memory plays the spooler's job side and nothing else.
#include "sc3xxmon/host.h"

#include "support/winspool_double.h"

int Sc3xxSetHost(const Sc3xxHost* host) {
  Sc3xxSetSpooler(host);
  return 1;
}
