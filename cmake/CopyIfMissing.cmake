# cmake -DSRC=... -DDST=... -P CopyIfMissing.cmake
if(NOT EXISTS "${DST}")
  get_filename_component(dir "${DST}" DIRECTORY)
  file(MAKE_DIRECTORY "${dir}")
  file(COPY_FILE "${SRC}" "${DST}")
endif()
