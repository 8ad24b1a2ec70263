#include "programs/servicemux/inputNotes.h"

#include "programs/servicemux/text.h"

namespace vantor::cli {

std::vector<std::string> inputNotes(const inputs::InputCounts& counts) {
  std::vector<std::string> notes;
  const auto note = [&notes](std::uint64_t count, const std::string& line) {
    if (count > 0) notes.push_back(line);
  };
  note(counts.skippedBytes, "skipped " + counted(counts.skippedBytes, "byte") + " that make no packet, in " +
                                counted(counts.resynchronisations, "place"));
  note(counts.tailBytes,
       "left out " + counted(counts.tailBytes, "byte") + " at the end, which are no whole packet");
  note(counts.rtpLost, counted(counts.rtpLost, "RTP packet") + " missing");
  note(counts.rtpLate, "left out " + counted(counts.rtpLate, "RTP packet") + " that came late or twice");
  note(counts.otherDatagrams, counted(counts.otherDatagrams, "datagram") + " without packets");
  note(counts.fragments, counted(counts.fragments, "fragment") + " of IP datagrams, which are not joined");
  note(counts.cutFrames, counted(counts.cutFrames, "frame") + " that the network capture does not hold as a whole");
  note(counts.dropped, counted(counts.dropped, "datagram") + " dropped, the program was too slow");
  return notes;
}

}  // namespace vantor::cli
