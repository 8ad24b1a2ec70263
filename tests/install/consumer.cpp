#include <servicemux/front/serviceMux.h>
#include <cstdio>

int main() {
  vantor::thrift::general::OutputAddress address;
  address.ip = "127.0.0.1";
  address.port = 9;
  vantor::serviceMux mux("consumer", address, "");
  vantor::thrift::dvb_tables::PAT pat;
  pat.version_number = 7;
  const int version = mux.newPAT(pat);
  std::printf("PAT on air with version %d\n", version);
  return version == 7 ? 0 : 1;
}
