# Our own code is held to these; the flags are private, so that no user of the library inherits them.
function(servicemux_warnings target)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wnon-virtual-dtor -Wold-style-cast -Woverloaded-virtual
    -Wcast-qual -Wformat=2 -Werror)
endfunction()
