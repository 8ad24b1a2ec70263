#include "tests/servicemux/recording/Recorder.h"

#include "interface/psi/packet.h"

void Recorder::asked(unsigned int stream, time_point now, time_point next, bool gave, const signed char* packet) {
  add(stream);
  add(static_cast<std::uint64_t>((now - start).count()));
  add(static_cast<std::uint64_t>((next - start).count()));
  if (!gave) return;
  ++given;
  for (std::size_t i = 0; i < vantor::kPacketSize; ++i) add(static_cast<unsigned char>(packet[i]));
}

void Recorder::add(std::uint64_t value) { digest = (digest ^ value) * 0x100000001B3; }
