/** Records that belong to no table: where an output goes and how it is scrambled. */
namespace cpp vantor.thrift.general

/** Where the multiplex is sent. */
struct OutputAddress {
  1: string ip    // dotted IPv4 destination address
  2: i32 port     // UDP destination port
  3: i32 vlan     // VLAN selector: 1, 2 or 3; only read for multicast outputs
}

/** What the data of a CA message is. */
enum CaFormat {
  SECTIONS = 0  // whole sections back to back
  PACKETS = 1   // whole transport-stream packets
}

/** One set of CA messages for the fixed CA PIDs. */
struct simulCryptData {
  1: i32 format   // a CaFormat
  2: binary data
}

/** How control words are protected on their way to the scrambler. */
struct cWType {
  1: i32 type
  2: string key
}

/** How a multiplex gets its CA messages; any other type carries none. */
enum ScramblerType {
  FIXED_PIDS = 0  // one set of ECMs and of EMMs, on PIDs of this system's own choice
  SIMULCRYPT = 3  // messages for each of the configured PIDs
}

/** Which CA messages a multiplex carries and on which PIDs. */
struct ScramblerConfig {
  1: bool enabled
  2: i32 scrambler_type              // a ScramblerType
  3: cWType cw_type
  4: map<i32, list<i32>> ecm_pids    // usid -> ECM PIDs
  5: map<i32, list<i32>> emm_pids    // usid -> EMM PIDs
  6: map<i32, i32> super_cas_ids     // usid -> Super_CAS_id
}
