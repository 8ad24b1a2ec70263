/** CA messages for the PIDs of a Simulcrypt configuration. */
namespace cpp vantor.thrift.simulcrypt

struct ECMItem {
  1: i32 pid
  2: i32 format   // 0: whole sections back to back, 1: whole transport-stream packets
  3: binary data  // empty: ECM stop
  4: i16 period   // repetition period in ms, read for format 1; 0 stands for 250
}

struct EMMItem {
  1: i32 pid
  2: i32 format   // 0: whole sections back to back, 1: whole transport-stream packets
  3: binary data
}
