#include "media/rtp/JpegRewriter.h"

#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <jpeglib.h>

namespace vms {
namespace {

constexpr long kMostMemory = 64L << 20;  ///< bytes that libjpeg may take

/// libjpeg reports a failure by a call that must not return.
struct Failure {
    jpeg_error_mgr manager;
    std::jmp_buf back;
};

[[noreturn]] void Fail(j_common_ptr codec) {
    std::longjmp(reinterpret_cast<Failure*>(codec->err)->back, 1);
}

void SayNothing(j_common_ptr) {}

/// Everything that has to be given back.
struct Codecs {
    Failure failure{};
    jpeg_decompress_struct in{};
    jpeg_compress_struct out{};
    unsigned char* bytes = nullptr;
    unsigned long size = 0;

    Codecs() {
        jpeg_std_error(&failure.manager);
        failure.manager.error_exit = &Fail;
        failure.manager.output_message = &SayNothing;
        in.err = out.err = &failure.manager;
    }
    ~Codecs() {
        jpeg_destroy_compress(&out);
        jpeg_destroy_decompress(&in);
        std::free(bytes);
    }
    Codecs(const Codecs&) = delete;
    Codecs& operator=(const Codecs&) = delete;
};

/// Brightness has the first quantization table, colour the second, whatever numbers they had.
/// @return false when there are three
bool NumberTables(jpeg_compress_struct& out) {
    if (out.num_components != 3)
        return false;
    JQUANT_TBL tables[3];
    for (int i = 0; i < 3; ++i)
        tables[i] = *out.quant_tbl_ptrs[out.comp_info[i].quant_tbl_no];
    if (std::memcmp(tables[1].quantval, tables[2].quantval, sizeof tables[1].quantval) != 0)
        return false;
    for (int i = 0; i < 2; ++i) {
        if (out.quant_tbl_ptrs[i] == nullptr)
            out.quant_tbl_ptrs[i] = jpeg_alloc_quant_table(reinterpret_cast<j_common_ptr>(&out));
        *out.quant_tbl_ptrs[i] = tables[i];
        out.quant_tbl_ptrs[i]->sent_table = FALSE;
    }
    for (int i = 0; i < 3; ++i)
        out.comp_info[i].quant_tbl_no = i == 0 ? 0 : 1;
    return true;
}

/// Nothing in here has a destructor: a failure jumps over them. @return false after one
bool Rewrite(Codecs& codecs, const unsigned char* picture, size_t size) {
    if (setjmp(codecs.failure.back) != 0)
        return false;
    jpeg_create_decompress(&codecs.in);
    jpeg_create_compress(&codecs.out);
    codecs.in.mem->max_memory_to_use = kMostMemory;
    codecs.out.mem->max_memory_to_use = kMostMemory;
    jpeg_mem_src(&codecs.in, picture, static_cast<unsigned long>(size));
    jpeg_read_header(&codecs.in, TRUE);
    jvirt_barray_ptr* const coefficients = jpeg_read_coefficients(&codecs.in);
    jpeg_mem_dest(&codecs.out, &codecs.bytes, &codecs.size);
    jpeg_copy_critical_parameters(&codecs.in, &codecs.out);
    if (!NumberTables(codecs.out))
        return false;
    jpeg_write_coefficients(&codecs.out, coefficients);
    jpeg_finish_compress(&codecs.out);
    jpeg_finish_decompress(&codecs.in);
    return true;
}

}  // namespace

std::string RewriteJpeg(std::string_view picture) {
    Codecs codecs;
    if (!Rewrite(codecs, reinterpret_cast<const unsigned char*>(picture.data()), picture.size()))
        return {};
    return {reinterpret_cast<const char*>(codecs.bytes), codecs.size};
}

}  // namespace vms
