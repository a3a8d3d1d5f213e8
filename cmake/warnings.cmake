# zarvo_set_warnings(<target>): the project's warning set, applied to every target we own.
function(zarvo_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
endfunction()
