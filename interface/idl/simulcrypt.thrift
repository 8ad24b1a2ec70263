/** CA messages for the PIDs of a Simulcrypt configuration. */
namespace cpp vantor.thrift.simulcrypt

struct ECMItem {
  1: i32 pid
  2: i32 format   // a CaFormat of general.thrift
  3: binary data  // empty: ECM stop
  4: i16 period   // repetition period in ms, read for PACKETS; 0 stands for 250
}

struct EMMItem {
  1: i32 pid
  2: i32 format   // a CaFormat of general.thrift
  3: binary data
}
