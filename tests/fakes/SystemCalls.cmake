# nubrix_wrap_system_calls(TARGET): lets the tests of TARGET stand in for system calls.
function(nubrix_wrap_system_calls target)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/SystemCalls.cpp)
  foreach(call pthread_mutex_lock pthread_cond_wait pthread_cond_timedwait pthread_cond_broadcast
               pthread_attr_init pthread_create pthread_join pthread_setschedparam
               sched_get_priority_min sched_get_priority_max calloc free dladdr dlopen dlsym
               dlclose nanosleep gettimeofday)
    target_link_options(${target} PRIVATE -Wl,--wrap=${call})
  endforeach()
endfunction()
