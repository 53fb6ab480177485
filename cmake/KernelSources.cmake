# Adds the kernels that are written for the instruction sets of the processor that is compiled for.
# A file of such kernels alone gets the flags that it needs.
function(contentcoding_kernel_sources target)
    set(kernels ${PROJECT_SOURCE_DIR}/codec/kernels)
    set(sources ${kernels}/Scalar.cpp ${kernels}/Select.cpp)
    if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64|i[3-6]86")
        set(avx2 Base32Avx2.cpp Base64Avx2.cpp EscapeAvx2.cpp RadixAvx2.cpp
             RunLengthAvx2.cpp)
        list(TRANSFORM avx2 PREPEND ${kernels}/)
        set_source_files_properties(${avx2} PROPERTIES COMPILE_OPTIONS -mavx2)
        list(APPEND sources ${avx2})
        target_compile_definitions(${target} PRIVATE CONTENTCODING_AVX2)
    elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64|ARM64)$")
        list(APPEND sources ${kernels}/Base64Neon.cpp ${kernels}/RunLengthNeon.cpp)
        target_compile_definitions(${target} PRIVATE CONTENTCODING_NEON)
    endif()
    target_sources(${target} PRIVATE ${sources})
endfunction()
