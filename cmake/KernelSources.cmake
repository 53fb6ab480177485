# Adds the kernels that are written for the instruction sets of the processor that is compiled for.
# A file of such kernels alone gets the flags that it needs.
function(contentcoding_kernel_sources target)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i[3-6]86")
        set(sources Base32Avx2.cpp Base64Avx2.cpp EscapeAvx2.cpp RunLengthAvx2.cpp)
        list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/codec/kernels/)
        set_source_files_properties(${sources} PROPERTIES COMPILE_OPTIONS -mavx2)
        target_compile_definitions(${target} PRIVATE CONTENTCODING_AVX2)
    endif()
    target_sources(${target} PRIVATE ${sources})
endfunction()
