# What all targets of this project share. Warnings are errors where CMAKE_COMPILE_WARNING_AS_ERROR
# says so, as our own presets do: a consumer's newer compiler must not break its build.
function(contentcoding_project_target target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast
        -Wcast-align -Wnon-virtual-dtor -Woverloaded-virtual -Wundef)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    # Sanitizers check more than the fortified functions do, and need the plain ones.
    if(CONTENTCODING_HARDENED AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
        target_compile_options(${target} PRIVATE
            -fstack-protector-strong
            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
            $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
        target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now)
    endif()
endfunction()
