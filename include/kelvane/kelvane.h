/* Kelvane: image analysis for camera applications.
 *
 * This header is the library's whole interface and its manual.
 *
 * Contents
 *   1. Conventions            result codes, memory, threads
 *   2. Records                rectangles, images, versions
 *   3. Memory                 the arena, the process heap
 *   4. Sharpness              one image, one number
 *   5. Engine and blur score  the engine's life, the integer score of one image
 *   6. Best shot              which frame of a burst is best, which K to keep
 *   7. Moving objects         telling the engine where something moves
 *   8. Face analysis          the pre-processing record, storage for face data
 *   9. Image buffers          making, releasing and copying images
 *  10. Resizing               bilinear, one plane or an image
 *  11. Resizing to BGR24      bilinear, with colour conversion
 *  12. Smoothing              box and Gaussian filters
 *  13. Morphology             erosion, dilation, opening, closing
 *  14. Alignment              the translation between two frames
 *  15. Changed region         where two frames differ
 *  16. Layouts                what the compiler checks of the records above
 *  17. Names for C            the exported names that encode parameter types
 *
 * C from C99 on and C++ from C++11 on see all functions by the same plain names.
 *
 * ---------------------------------------------------------------------------------------------
 * 1. Conventions
 *
 * Results. A function that can fail returns one of the codes below as a `long`. Unless a function
 * says otherwise, a failing call leaves its outputs as they were and keeps no memory.
 *
 * Memory. Every function that allocates takes a memory handle, or uses the one that its engine was
 * created with: an arena made by `VantMemMgrCreate`, or null for the process heap. Nothing is
 * allocated when the library is loaded, and what a call allocates for itself it releases before it
 * returns, on success and on failure.
 *
 * Ownership. Images, masks, face data, result storage and the arena's buffer belong to the caller.
 * The library only reads images and masks, except where a function is there to write one.
 *
 * Threads. The library creates none and takes no locks. An engine and an arena each serve one call
 * at a time; different ones may be used on different threads.
 *
 * Geometry. Widths, heights and coordinates are in pixels; a pitch is the distance from one row to
 * the next in bytes. A rectangle's right and bottom edges are exclusive. */
#ifndef KELVANE_KELVANE_H
#define KELVANE_KELVANE_H

#include <assert.h>
#include <stddef.h>
#include <stdint.h>

#define KELVANE_API __attribute__((visibility("default")))

/* Functions whose exported names encode their parameter types; section 17 tells C these names. */
#ifdef __cplusplus
#define KELVANE_CPP_API extern "C++" KELVANE_API
#else
#define KELVANE_CPP_API KELVANE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes. */
enum {
    ERR_NONE = 0,
    ERR_INVALID_PARAM = 2, /* null pointer, size or count out of range, format not accepted */
    ERR_UNSUPPORTED = 3,   /* format or channel count that the function has no code for */
    ERR_NO_MEMORY = 4      /* an allocation failed */
};

/* ---------------------------------------------------------------------------------------------
 * 2. Records */

typedef struct __tag_rect __tag_rect;
typedef struct __tag_KIRO_OFFSCREEN __tag_KIRO_OFFSCREEN;
typedef struct _tag_VERSION_INFO _tag_VERSION_INFO;
typedef struct _tag_DRAV_DATA _tag_DRAV_DATA;
typedef struct _tag_DRAV_ENGINE _tag_DRAV_ENGINE;
typedef struct _tag_DRAV_BLURRESULT _tag_DRAV_BLURRESULT;
typedef struct _tag_DRAV_ALIGNMENT _tag_DRAV_ALIGNMENT;
typedef struct _tag_DRAV_FACEINFO _tag_DRAV_FACEINFO;
typedef struct _tag_DRAV_PARAM _tag_DRAV_PARAM;
typedef struct _tag_DRAV_RESULT _tag_DRAV_RESULT;
typedef struct _tag_DRAV_MOVINGOBJ _tag_DRAV_MOVINGOBJ;
typedef struct _tag_DRAV_MOVINGINFO _tag_DRAV_MOVINGINFO;
typedef struct _tag_Preprocessor_Data _tag_Preprocessor_Data;

/* A rectangle in pixels; right and bottom are exclusive. */
struct __tag_rect {
    int32_t left;
    int32_t top;
    int32_t right;
    int32_t bottom;
};

/* Pixel formats, with what each plane holds of an image of W x H pixels (bytes per row x rows).
 * Plane 0 holds the luma samples of every YUV format. */
enum {
    KELVANE_FORMAT_RGB565 = 0x101,      /* 2W x H, little-endian 16 bits: red high, blue low */
    KELVANE_FORMAT_BGR24 = 0x201,       /* 3W x H, blue, green, red */
    KELVANE_FORMAT_XRGB32 = 0x304,      /* 4W x H, bytes: ignored, red, green, blue */
    KELVANE_FORMAT_YUYV = 0x501,        /* 2W x H, bytes: Y, Cb, Y, Cr */
    KELVANE_FORMAT_YVYU = 0x503,        /* 2W x H, as 0x501 with the chroma exchanged */
    KELVANE_FORMAT_YUV420 = 0x601,      /* W x H, then Cb and Cr, each W/2 x H/2 */
    KELVANE_FORMAT_YUV422 = 0x603,      /* W x H, then Cb and Cr, each W/2 x H */
    KELVANE_FORMAT_YUV420_CBCR = 0x801, /* W x H, then W x H/2 interleaved chroma */
    KELVANE_FORMAT_YUV420_CRCB = 0x802, /* W x H, then W x H/2 interleaved chroma, Cr first */
    KELVANE_FORMAT_YUV422_CRCB = 0x803  /* W x H, then W x H interleaved chroma */
};

/* An image. Row r of plane k starts at `planes[k] + r * pitches[k]`. The engine's functions accept
 * 0x601, 0x603 and 0x802 and measure only plane 0: chroma planes may then be null. */
struct __tag_KIRO_OFFSCREEN {
    uint32_t format; /* one of the codes above */
    int32_t width;   /* pixels */
    int32_t height;  /* pixels */
    unsigned char* planes[4];
    int32_t pitches[4]; /* bytes from one row to the next */
};

/* A version: its four numbers in order, and constant texts that the library owns. */
struct _tag_VERSION_INFO {
    int64_t numbers[4];
    const char* version;
    const char* date;
    const char* notice;
};

/* A pointer and the count of bytes that it leads to. */
struct _tag_DRAV_DATA {
    void* data;
    int64_t size;
};

/* ---------------------------------------------------------------------------------------------
 * 3. Memory
 *
 * An arena is a list of blocks inside a buffer of the caller. Each block has a header of 16 bytes
 * (payload size, in-use mark) and a payload that is a multiple of 8 bytes; a terminator header
 * (size -1) ends the list. Allocation takes the first free block that is large enough and splits
 * it when at least 32 bytes would remain after the new header; release merges free neighbours
 * (first fit with immediate coalescing: Knuth, The Art of Computer Programming 1, 1968). Both walk
 * the list. The arena's whole state lies in its buffer, so it needs no teardown.
 *
 * One allocation costs its size rounded up to 8 bytes, plus 16, plus up to 24 bytes of a remainder
 * too small to split off. */

/* Lays out an arena in `buffer` (`bufferSize` bytes), from its first address divisible by 8.
 * Returns the arena's handle, or null when the buffer is null or its usable size, rounded down to
 * a multiple of 8, is 32 bytes or less. The buffer stays the caller's and must outlive the use. */
KELVANE_API void* VantMemMgrCreate(void* buffer, long bufferSize);

/* Does nothing and returns the handle: an arena ends with its buffer. */
KELVANE_API void* VantMemMgrDestroy(void* handle);

/* Allocates `size` bytes: from the arena, or with `malloc` when the handle is null. Null when no
 * block fits, and with an arena also for sizes of 0 or less or above 2^32 - 8. */
KELVANE_API void* VantMemAlloc(void* handle, long size);

/* Releases what `VantMemAlloc` or `VantMemRealloc` gave for the same handle. Null is ignored, and
 * with an arena so is a pointer that is not the payload of a block in use. */
KELVANE_API void VantMemFree(void* handle, void* pointer);

/* Changes the size of a block, keeping its content up to the smaller size; a null pointer
 * allocates. With an arena the block shrinks or grows in place where it can. Null when no block
 * fits, for a size of 0 or one that an arena cannot hold, and for a pointer that the arena does
 * not know; the old block then stays in use and intact. A null handle means `realloc`. */
KELVANE_API void* VantMemRealloc(void* handle, void* pointer, long size);

/* The same for arenas only; a null handle gives null, or does nothing. */
KELVANE_API void* VantMemAllocStatic(void* handle, uint32_t size);
KELVANE_API void VantMemFreeStatic(void* handle, void* pointer);
KELVANE_API void* VantMemReallocStatic(void* handle, void* pointer, uint32_t size);

/* The largest request in bytes that the arena could satisfy now; 0 when nothing is free, 2 for a
 * null handle. */
KELVANE_API long GetMaxAllocMemSize(void* handle);

/* The platform's memset, memcpy, memmove and memcmp. Sizes are in bytes; 0 or less does nothing
 * and compares equal. */
KELVANE_API void VantMemSet(void* destination, int value, long size);
KELVANE_API void VantMemCpy(void* destination, const void* source, long size);
KELVANE_API void VantMemMove(void* destination, const void* source, long size);
KELVANE_API long VantMemCmp(const void* first, const void* second, long size);

/* The version of the memory layer. The record belongs to the library and every call returns the
 * same address; numbers or a version text that a caller has changed are restored. Threads may call
 * it at the same time. */
KELVANE_API _tag_VERSION_INFO* Vantix_GetVersion(void);

/* ---------------------------------------------------------------------------------------------
 * 4. Sharpness
 *
 * The mean absolute first difference of a grey image that is sampled every 4 pixels in both
 * directions, each sample being the rounded mean of 4 pixels (an absolute-gradient focus function
 * as compared by Groen, Young and Ligthart, 1985). Fine detail raises it, blur lowers it, and noise
 * raises it too. Within a burst it orders frames by focus and motion blur; between scenes it says
 * as much about the subject. It is not normalised for resolution. */

/* Measures `region` of `image`, or with a null region a centred crop that is smaller than the
 * image by a fifth of its shorter side in both directions.
 *
 * Reads only `planes[0]`, in the formats 0x601, 0x603, 0x801, 0x802, 0x803, 0x501, 0x101, 0x304.
 * The width must be even for every YUV format and the height for 0x601, 0x801 and 0x802. A region
 * must be non-empty and lie inside the image; its edges are rounded down to multiples of 4.
 *
 * `*sharpness` receives a value of at least 0 and below 510; 0 for a flat region, and also for one
 * too small to hold two samples in each direction. It is written only on success.
 *
 * Scratch: one block of 2 * ceil(floor(width / 4) / 4) * 4 bytes from `memHandle`.
 * ERR_INVALID_PARAM: format, odd size, region, or a null plane that would be read.
 * ERR_NO_MEMORY: the scratch block. */
KELVANE_CPP_API long imgEvaluateSharpness(void* memHandle, __tag_KIRO_OFFSCREEN* image,
                                          float* sharpness, __tag_rect* region);

/* ---------------------------------------------------------------------------------------------
 * 5. Engine and blur score
 *
 * An engine holds the memory handle, the moving-object information, and the last blur result.
 * `DRAV_Init` comes first, `DRAV_Uninit` last; between them any call in any order. After a failure
 * the engine stays usable. */

/* The blur score of one image. */
struct _tag_DRAV_BLURRESULT {
    int32_t width; /* of the measured image */
    int32_t height;
    uint32_t format;
    int32_t score; /* sharpness * 10000, rounded: 0 (flat) to 5,099,999, higher is sharper */
};

/* Creates an engine whose every allocation uses `memHandle` and writes it to `*engine`.
 * ERR_INVALID_PARAM: null `engine`. ERR_NO_MEMORY: the engine's record. */
KELVANE_API long DRAV_Init(void* memHandle, _tag_DRAV_ENGINE** engine);

/* Releases the engine and sets the caller's variable to null. Null, or a variable that holds null,
 * is no error. */
KELVANE_API long DRAV_Uninit(_tag_DRAV_ENGINE** engine);

/* Copies the library's version into `*version`; null does nothing. */
KELVANE_API void DRAV_GetVersion(_tag_VERSION_INFO* version);

/* Measures the blur score of one image of format 0x601, 0x603 or 0x802 (see section 4: the centred
 * crop). On success `result->data` points to a `_tag_DRAV_BLURRESULT` and `result->size` is 16.
 * The record belongs to the engine and is overwritten by the next call: a caller that collects a
 * burst's results copies each. A failing call leaves the previous record in place.
 *
 * ERR_INVALID_PARAM: a null argument, the format, an odd size. ERR_NO_MEMORY: the scratch block. */
KELVANE_API long DRAV_DetectBlur(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* image,
                                 _tag_DRAV_DATA* result);

/* ---------------------------------------------------------------------------------------------
 * 6. Best shot
 *
 * A burst is n frames of one size (even width and height; the formats 0x601, 0x603 and 0x802, also
 * mixed). Each frame gets one integer score:
 *
 *       0.8 * sharpness of the frame          both normalised within the burst: the sharpest
 *     + 1.2 * sharpness of its moving object  frame has 9999, the others their share of that
 *     + 600 * open eyes - 99,900 * closed eyes + 400 * faces
 *     + 500 * smiles + 1000 * broad smiles - 300 * faces with a code of 13 to 16
 *     + 10,000 + area of the moving object    normalised, 0 when small, 10,000 when large
 *     - up to 10,000 for a moving object near the border
 *
 * The face terms take part when the burst holds at least floor(n / 2) faces in all. Without a
 * moving object the frame's own sharpness stands for that of the object. Scores compare frames of
 * one call and mean nothing beyond it.
 *
 * The best frame is the first one with the highest score. The K kept frames are spread over the
 * burst when K is small against n (the best of each group of 4, 3 or 2 neighbours for K up to n/4,
 * n/3, n/2, rounded up; the last group takes the rest), and the K highest scores otherwise. The
 * best frame is always among them. In a group the first of equal scores is kept; of the K highest
 * the last places may go to a later one of several equal frames. */

/* Where a frame stands in an aligned burst. Only `frameIndex` is read, and only checked. */
struct _tag_DRAV_ALIGNMENT {
    int64_t frameIndex; /* 0..n-1 */
    int64_t reserved[2];
};

/* The faces of one frame. With a `count` of 0 or less the arrays are not read. */
struct _tag_DRAV_FACEINFO {
    int64_t count;
    __tag_rect* rects; /* inside the frame, non-empty; checked, takes no part in the score */
    uint64_t* codes;   /* 0..16; 13 to 16 count against the frame */
    uint64_t* eyes;    /* 0 not known, 1 open, 2 closed; or null */
    uint64_t* smiles;  /* 0 not known, 1 no smile, 2 smile, 3 broad smile; or null */
};

/* What the caller says about one frame. */
struct _tag_DRAV_PARAM {
    _tag_DRAV_ALIGNMENT* alignment; /* null, or set for every frame of the burst */
    _tag_DRAV_FACEINFO* faces;      /* required; a block with count 0 means no faces */
};

struct _tag_DRAV_RESULT {
    int64_t count;    /* in: K, at least 1; out: min(K, n) */
    int64_t* indices; /* the caller's storage for K entries; out: the kept frames, ascending */
    int64_t best;     /* out: the frame with the highest score */
};

/* Zero-fills one record. ERR_INVALID_PARAM: null. */
KELVANE_API long DRAV_GetDefaultParam(_tag_DRAV_PARAM* param);

/* Ranks a burst. `frames` and `params` hold n records each, in frame order.
 *
 * ERR_INVALID_PARAM: a null argument, n or K below 1, frames that differ in size or have an odd
 * size or another format; a frame without face block, or an alignment entry missing or out of
 * range when frame 0 has one; a face rectangle that is empty or leaves the frame, a code above 16,
 * an eye state above 2, a smile state above 3, faces without `eyes` (or `smiles`) after a frame
 * whose faces had them; moving-object information for another number of frames, or an object
 * rectangle with nothing inside the frame. The last two are found after `result->count` was
 * lowered to n, all others before anything is written.
 * ERR_NO_MEMORY: `result->count` may have been lowered, and when K is above ceil(n / 2)
 * `result->best` may have been written; `indices` is unchanged. */
KELVANE_API long DRAV_Kelvane(_tag_DRAV_ENGINE* engine, const __tag_KIRO_OFFSCREEN* frames,
                              const _tag_DRAV_PARAM* params, long n, _tag_DRAV_RESULT* result);

/* Ranks a burst with the faces of a pre-processing record (section 8). Beside the codes of
 * `DRAV_Kelvane`, ERR_INVALID_PARAM: a record whose length, frame count or face counts are not
 * consistent. */
KELVANE_API long DRAV_KelvaneWithPreProcess(_tag_DRAV_ENGINE* engine,
                                            const __tag_KIRO_OFFSCREEN* frames,
                                            const _tag_DRAV_DATA* record, long n,
                                            _tag_DRAV_RESULT* result);

/* The same with the blur score of every frame supplied: `blurs` holds n entries, each pointing to
 * the 16 bytes of that frame's `_tag_DRAV_BLURRESULT`. Only the scores are read, and used as they
 * are. Without moving-object information no pixel is read, and the frames' planes may be null. */
KELVANE_API long DRAV_KelvaneWithPreProcessBlur(_tag_DRAV_ENGINE* engine,
                                                const __tag_KIRO_OFFSCREEN* frames,
                                                const _tag_DRAV_DATA* record,
                                                const _tag_DRAV_DATA* blurs, long n,
                                                _tag_DRAV_RESULT* result);

/* ---------------------------------------------------------------------------------------------
 * 7. Moving objects
 *
 * Given before the best-shot call that is to use it, since each such call converts the stored
 * rectangles to frame pixels in place. */

/* The moving object of one frame. It is usable when it has a mask and a rectangle that is not all
 * zero; its sharpness and area are used when the rectangle is at least 11 x 11. */
struct _tag_DRAV_MOVINGOBJ {
    __tag_rect rect;     /* in mask pixels */
    unsigned char* mask; /* nonzero bytes belong to the object; several objects may share one */
};

struct _tag_DRAV_MOVINGINFO {
    int64_t width; /* of every mask, in pixels; frame width / mask width scales both axes */
    int64_t height;
    int64_t pitch; /* bytes from one mask row to the next */
    _tag_DRAV_MOVINGOBJ* objects;
    int32_t count; /* objects; the best-shot call must have as many frames */
};

/* Stores the moving-object information. It is in force when more than half of the objects are
 * usable, and otherwise set aside (which is no error). Frames whose object is too small keep what
 * an earlier call stored for them. Areas are counted inside the part of each rectangle that lies
 * in the mask. The masks are read only during the call.
 *
 * ERR_INVALID_PARAM: a null engine, information or object array, and information on at least one
 * object that would be in force with a width below 1; nothing is changed.
 * ERR_NO_MEMORY: the engine's arrays. Information stored before stays in force, but the engine
 * already expects a best-shot call of `count` frames. */
KELVANE_API long SetMovingObjectInfo(_tag_DRAV_ENGINE* engine, const _tag_DRAV_MOVINGINFO* info);

/* Counts the bytes of `mask` that differ from `value` inside `rect`, or in the whole mask of
 * `width` x `height` when `rect` is null. The rectangle must lie inside the mask; an empty one
 * counts 0. A value outside 0..255 differs from every byte. ERR_INVALID_PARAM: null mask or out. */
KELVANE_CPP_API long calMaskArea(unsigned char* mask, long width, long height, long pitch,
                                 int value, __tag_rect* rect, long* out);

/* ---------------------------------------------------------------------------------------------
 * 8. Face analysis
 *
 * The pre-processing record is a block of bytes, integers little-endian, at any alignment. With N
 * frames and maps of w x h four-byte values:
 *
 *     0                    header, 32 bytes: N at 4, w at 16, h at 20 (unsigned 32-bit)
 *     32                   first map set: N maps of w * h values
 *     32 + 4 * N * w * h   second map set
 *     32 + 8 * N * w * h   N frame records of 412 bytes: ten face entries of 40 bytes, then the
 *                          face count (signed 32-bit, at most 10; 0 or less means none) at 400
 *
 * A face entry holds the rectangle (left, top, right, bottom, signed 32-bit, frame pixels), the
 * code at 16 (0..16), the smile degree at 20 (0 no smile, 30 smile, 80 broad smile, else not
 * known) and the eyes-open flag at 24 (1 open, 0 closed, else not known), unsigned 32-bit.
 *
 * The length must be exactly 32 + 8 * N * w * h + 412 * N, below 2^31. The maps take no part in
 * the ranking. */

/* A record read into memory; made by `ReadProcessorData`, released by `FreeProcessorData`. */
struct _tag_Preprocessor_Data {
    unsigned char header[32];
    unsigned char* records; /* frameCount records of 412 bytes */
    int32_t frameCount;
    uint32_t** firstMaps;  /* one block: frameCount pointers, then the maps they lead to */
    uint32_t** secondMaps; /* the same */
};

/* Copies the record of `size` bytes at `block` into memory from `memHandle`. The caller owns
 * `*out`. ERR_INVALID_PARAM: null `out` or `block`, a size that the header does not give. */
KELVANE_CPP_API long ReadProcessorData(void* memHandle, _tag_Preprocessor_Data** out, void* block,
                                       int size);

/* Releases a record and nulls the caller's variable. ERR_INVALID_PARAM: null, or null inside. */
KELVANE_CPP_API long FreeProcessorData(void* memHandle, _tag_Preprocessor_Data** record);

/* Storage for the face data of n frames with up to 10 faces each: one zero-filled block, its parts
 * attached to `params[0..n-1]`. An earlier block is released when the call runs out of memory, and
 * otherwise not touched. The caller owns the block until `freeParamsFace` with the same n.
 * ERR_INVALID_PARAM: null `params` or n below 1; nothing is changed. */
KELVANE_CPP_API long allocParamsFace(void* memHandle, _tag_DRAV_PARAM* params, long n);
KELVANE_CPP_API void freeParamsFace(void* memHandle, _tag_DRAV_PARAM* params, long n);

/* The same for one alignment entry per frame. */
KELVANE_CPP_API long allocParamsAlign(void* memHandle, _tag_DRAV_PARAM* params, long n);
KELVANE_CPP_API void freeParamsAlign(void* memHandle, _tag_DRAV_PARAM* params, long n);

/* Both; when either fails, both are released. */
KELVANE_CPP_API long allocParams(void* memHandle, _tag_DRAV_PARAM* params, long n);
KELVANE_CPP_API void freeParams(void* memHandle, _tag_DRAV_PARAM* params, long n);

/* ---------------------------------------------------------------------------------------------
 * 9. Image buffers */

/* Allocates the planes of an image of format 0x601, 0x603 or 0x802 as one block and fills the
 * descriptor. With the pitch P = `width` rounded up to a multiple of 4 and S = P * `height`:
 *
 *              block       planes[1]  planes[2]          pitches[0], [1], [2]
 *     0x601    S + S / 2   block + S  block + S + S / 4  P, P / 2, P / 2
 *     0x603    2 * S       block + S  block + S + S / 2  P, P / 2, P / 2
 *     0x802    S + S / 2   block + S  as it was          P, P, as it was
 *
 * `planes[0]` is the block; it belongs to the caller until `imgFree`. The pixels are not set.
 * `planes[0]` must be null on entry. A failing call leaves the descriptor as it was.
 * ERR_INVALID_PARAM: another format, an image that holds planes, a null image, a size below 1 or
 * one whose pitch or height does not fit the descriptor. ERR_NO_MEMORY: the block. */
KELVANE_API long imgAlloc(void* memHandle, __tag_KIRO_OFFSCREEN* image, long width, long height,
                          long format);

/* Releases `planes[0]` and zero-fills the descriptor. Null does nothing. */
KELVANE_API void imgFree(void* memHandle, __tag_KIRO_OFFSCREEN* image);

/* Copies the pixels of `src` into the planes of `dst`, row by row: padding stays as it was. Both
 * have one size and one of the formats 0x501, 0x503, 0x601, 0x603, 0x801, 0x802 and 0x803. Pitches
 * are trusted and may differ; a negative one means a bottom-up image, its plane pointing to the
 * row at the end of the memory.
 * ERR_INVALID_PARAM: a null descriptor, size or format that differ, a null plane with pixels.
 * ERR_UNSUPPORTED: another format. Nothing is written on either. */
KELVANE_API long CopyImageData(__tag_KIRO_OFFSCREEN* dst, const __tag_KIRO_OFFSCREEN* src);

/* The size at which an image is worked on: its longer side reduced to `maxSide` when it is above,
 * both sides rounded and then raised to even numbers. `*scale` is the factor, at most 1. */
KELVANE_API void CalSmallImgSize(long width, long height, long* outWidth, long* outHeight,
                                 float* scale, long maxSide);

/* ---------------------------------------------------------------------------------------------
 * 10. Resizing
 *
 * Bilinear interpolation in fixed point: the mean of the four nearest source samples, weighted by
 * distance. Destination sample d lies at source coordinate d * (source size / destination size),
 * so that the first samples coincide; positions are kept to 1/128 of a sample and the result is
 * rounded once, half up. The last source row and column are repeated beyond their positions. Only
 * neighbours are read, so a reduction to less than half skips samples and may alias. */

/* Prepares `*buffer` for one geometry. A buffer that it holds on entry is released first, and must
 * come from the same handle; null means none. The buffer belongs to the caller, who releases it
 * with `VantMemFree`. It is a single block of
 *
 *     8 + 16 * dstWidth * channels + 4 * (dstWidth + dstHeight) bytes:
 *
 * the index of the first column that takes only the last source column (64-bit; dstWidth when
 * none does), room for two rows of samples, which needs no content and keeps none, then one entry
 * for each column and one for each row: source index in the low 16 bits, weight of the next source
 * sample (0..128) in the high 16 bits.
 *
 * ERR_INVALID_PARAM: null `buffer`, a size or a channel count below 1, a source side of 65536 or
 * more; a buffer held on entry stays. ERR_NO_MEMORY: it is released and `*buffer` is null. */
KELVANE_API long ImageResize_AllocMem_BL(void* memHandle, long srcWidth, long srcHeight,
                                         long channels, long dstWidth, long dstHeight,
                                         void** buffer);

/* Resizes a plane of `channels` (1 or 2) interleaved 8-bit samples per pixel with a buffer
 * prepared for the same sizes and channels, any number of planes one after the other. Pitches are
 * in bytes and may be negative; pointers, pitches and sizes are trusted. Equal sizes copy the
 * rows, without a buffer and with any channel count.
 * ERR_INVALID_PARAM: no buffer. ERR_UNSUPPORTED: another channel count. Nothing is written. */
KELVANE_API long ImageResize_BL(const unsigned char* src, long srcWidth, long srcHeight,
                                long srcPitch, long channels, unsigned char* dst, long dstWidth,
                                long dstHeight, long dstPitch, void** buffer);

/* Resizes plane 0 of `src` into plane 0 of `dst`; other planes of `dst` stay as they were. Both
 * have the same format, 0x601, 0x603 or 0x802. When size and the pitches of planes 0 and 1 are
 * equal, height * pitches[0] bytes are copied in one block, padding included (a bottom-up image is
 * copied row by row). Otherwise the resize buffer for one channel is allocated for the call.
 * ERR_INVALID_PARAM: a null descriptor or plane 0, formats that differ or are not accepted, and
 * what `ImageResize_AllocMem_BL` refuses. ERR_NO_MEMORY: the buffer. Nothing is written. */
KELVANE_API long imgResize(void* memHandle, const __tag_KIRO_OFFSCREEN* src,
                           __tag_KIRO_OFFSCREEN* dst);

/* ---------------------------------------------------------------------------------------------
 * 11. Resizing to BGR24 */

/* Resizes an image of format 0x501, 0x601, 0x802 or 0x201 to packed 24-bit pixels: `dstHeight`
 * rows of 3 * `dstWidth` bytes, `dstPitch` bytes apart. Interpolation is that of section 10, but
 * pixel centres coincide: destination sample d lies at (d + 0.5) * ratio - 0.5.
 *
 * YUV sources give blue, green, red. Each pair of destination pixels shares the rounded mean of
 * the chroma under its pixels in one or two source rows (an odd last pixel takes its own), and is
 * converted with the full-range coefficients of ITU-R BT.601:
 *
 *     blue  = Y + 1.773 * (Cb - 128)
 *     green = Y - 0.344 * (Cb - 128) - 0.714 * (Cr - 128)
 *     red   = Y + 1.403 * (Cr - 128)
 *
 * in units of 2^-14, rounded, clamped to 0..255. Cb and Cr of 0x601 both use `pitches[1]`. Chroma
 * planes hold W/2 x H/2 samples, rounded down: the last ones serve an odd last column or row, and
 * an image one pixel wide or high counts as grey. The three channels of 0x201 are resized alike
 * and keep their order.
 *
 * A source or destination size of 0 or less writes nothing, which is no error, and planes may then
 * be null. Pitches are trusted and may be negative. Scratch: one block of
 * 60 * dstWidth + 4 * dstHeight bytes, where that is positive, from `memHandle`.
 *
 * ERR_INVALID_PARAM: a null source; where there are pixels, a null destination or plane, a source
 * side of 65536 or more, 0x501 with an odd width. ERR_UNSUPPORTED: another format. ERR_NO_MEMORY:
 * the scratch block, which is asked for before the source is looked at. Nothing is written. */
KELVANE_API long ImageResize_BL_ToBGR24(void* memHandle, const __tag_KIRO_OFFSCREEN* src,
                                        unsigned char* dst, long dstWidth, long dstHeight,
                                        long dstPitch);
/* ---------------------------------------------------------------------------------------------
 * 12. Smoothing
 *
 * Planes of `width` x `height` pixels, one byte each, or three interleaved bytes each when the
 * format is 0x201; any other format value means one byte. Channels are filtered independently.
 * Source and destination share size and pitch (bytes, at least width * channels, and negative for
 * bottom-up planes); they are the same buffer or do not overlap.
 *
 * A box filter with running column sums (McDonnell, 1981) and a fixed-point reciprocal of the
 * window's area: the time per pixel does not depend on the radii. Windows of 3 or 5 columns and at
 * most 5 rows are summed directly, with the same result. A Gaussian is approximated by repeated box
 * filtering (Wells, 1986). */

/* Replaces every pixel by the mean of the window from `left` pixels before it to `right` pixels
 * after it and from `top` rows above to `bottom` rows below. The window ends at the image border,
 * and the mean is taken over the pixels that remain: floor(sum * floor(2^23 / area) / 2^23), which
 * is the truncated mean or one less (a plane of 255 becomes 254 under most windows), and 0 for
 * windows of more than 2^23 pixels. Padding bytes are not written.
 *
 * Memory, in this order, with the window's clipped widths lying between wmin and wmax and its
 * heights between hmin and hmax: width * channels * 4 bytes; in place, when n > 0, n * |pitch|
 * bytes with n = min(top + 1, height - top - 1); (wmax - wmin + 1) * (hmax - hmin + 1) * 4 bytes.
 * For radii that fit the image wmin = min(left, right) + 1 and wmax = left + right + 1.
 *
 * ERR_INVALID_PARAM: null source or destination, a negative radius, left + right or top + bottom
 * of 0, an empty plane, a pitch that is too small. ERR_NO_MEMORY: one of the blocks. Nothing is
 * written in either case. */
KELVANE_API long GB_BoxBlurA(void* memHandle, const unsigned char* source, long width, long height,
                             long pitch, long format, unsigned char* destination, long left,
                             long top, long right, long bottom);

/* Approximates a Gaussian blur of kernel size `size` (pixels; an even one counts as the next odd
 * one) by box filters of radius r = size / 2 in all directions: three when the pitch equals the
 * width, otherwise two; the second and third work in place on the destination.
 *
 * A size of 1 or less copies height * pitch bytes, padding included (a bottom-up plane is copied
 * row by row), unless source and destination are the same. A plane no wider than 2r is not
 * filtered: the destination is not written.
 *
 * ERR_INVALID_PARAM: null source or destination, an empty plane, a pitch that is too small; nothing
 * is written. ERR_NO_MEMORY: a pass ran out of memory; the destination holds the passes before. */
KELVANE_API long GB_GaussianBlurA(void* memHandle, const unsigned char* source, long width,
                                  long height, long pitch, long format, unsigned char* destination,
                                  long size);

/* ---------------------------------------------------------------------------------------------
 * 13. Morphology
 *
 * Erosion replaces every byte by the minimum of the bytes under a rectangle, dilation by the
 * maximum. For radius r the rectangle around pixel (x, y) covers the columns x - r to x + r and the
 * rows y - r to y + r + 1: it is one row taller than wide and reaches one row further down than
 * up. What lies outside the image takes no part. Masks and grey levels are treated alike.
 *
 * Images of `width` x `height` pixels of 1 to 4 interleaved bytes, each byte position filtered
 * independently, rows `pitch` bytes apart. Source and destination share size and pitch; they are
 * the same buffer or do not overlap. Padding bytes are not written.
 *
 * Rows are filtered by spans that become three times as long in each step, columns by the ends and
 * beginnings of blocks (van Herk, 1992; Gil and Werman, 1993): the time per pixel grows with the
 * logarithm of r.
 *
 * Memory: one block of (2r + 1) * channels + (S + 8) * (2r + 4) + 151 bytes, rounded down to a
 * multiple of 4, where S is channels * (width + 2r + 18) rounded up to a multiple of 4.
 *
 * ERR_INVALID_PARAM: null source or destination, radius 0. ERR_NO_MEMORY: the block; also a width
 * below 1, channels outside 1 to 4, a negative radius. Nothing is written in either case. A height
 * of 0 or less is no error and writes nothing; the pitch is not checked. */

KELVANE_API long sbrErode(void* memHandle, const unsigned char* source, long width, long height,
                          long pitch, long channels, unsigned char* destination, long radius);
KELVANE_API long sbrDilate(void* memHandle, const unsigned char* source, long width, long height,
                           long pitch, long channels, unsigned char* destination, long radius);

/* Opening: erosion, then dilation in place on the destination; closing: the other way round. The
 * block is allocated and released by each step. When the second step runs out of memory the
 * destination holds the result of the first. */
KELVANE_API long sbrOpen(void* memHandle, const unsigned char* source, long width, long height,
                         long pitch, long channels, unsigned char* destination, long radius);
KELVANE_API long sbrClose(void* memHandle, const unsigned char* source, long width, long height,
                          long pitch, long channels, unsigned char* destination, long radius);
/* ---------------------------------------------------------------------------------------------
 * 14. Alignment
 *
 * Finds the translation between two frames of one scene with threshold bitmaps: one bit per pixel,
 * set where the luma is above the frame's median, so that a change of exposure hardly matters
 * (Ward, 2003). Levels are the frame sampled every 2^j pixels, down to a longer side of 64 or less
 * (level L). The search starts without displacement at level L and at each finer level doubles the
 * estimate and tries it and its eight neighbours: sums of grey differences at the two coarsest
 * levels, bitmap disagreement at the next two, and the disagreement of 16 patches at the levels
 * finer than L - 3. So it reaches displacements up to 2^(L+1) - 1 pixels.
 *
 * A displacement (dx, dy) means: pixel p of a frame shows what pixel p + (dx, dy) of the reference
 * frame shows. */

typedef struct _tag_ZEP_ABDEBLUR _tag_ZEP_ABDEBLUR;
typedef struct _tag_BitMap_Struct _tag_BitMap_Struct;
typedef struct _tag_BitPyramid_Struct _tag_BitPyramid_Struct;
typedef struct _tag_ZEP_NS_INPUTINFO _tag_ZEP_NS_INPUTINFO;
typedef struct _tag_ROI_INFO _tag_ROI_INFO;

/* 16 patches of one level, in a 4 x 4 grid over the frame. */
struct _tag_BitMap_Struct {
    unsigned char* data; /* `rows` x `rowBytes` */
    int64_t widthBits;   /* over all four patch columns, a multiple of 32 */
    int64_t rows;        /* over all four patch rows, a multiple of 4 */
    int64_t rowBytes;    /* widthBits / 8 + 4 */
    int64_t xOffset;     /* of each patch in its cell, in this level's pixels */
    int64_t yOffset;
    unsigned char valid[16]; /* 1 where the patch lies inside the frame; row by row */
};

/* The patches of the levels 0 .. maxLevel - minLevel - 1. */
struct _tag_BitPyramid_Struct {
    _tag_BitMap_Struct* levels;
    int64_t maxLevel; /* L */
    int64_t minLevel; /* the levels that the bitmap set stores beside the coarsest */
};

struct _tag_ZEP_NS_INPUTINFO {
    int64_t count; /* 2 */
    __tag_KIRO_OFFSCREEN* images[2];
};

/* Creates an empty alignment context; its first alignment sizes it for that call's frames.
 * ERR_INVALID_PARAM: null `outCtx`. ERR_NO_MEMORY: the record or its histogram. */
KELVANE_CPP_API long Alignment_Init(void* memHandle, void** outCtx);

/* Releases a context and nulls the caller's variable; null is accepted. Returns ERR_NONE. */
KELVANE_CPP_API long Alignment_Uninit(void** ctx);

/* Aligns two frames of one size and format; each is read with its own pitch. `results[i]` receives
 * {dx, dy} of frame i against frame `refIndex`, whose own pair is (0, 0). With `recompute` 0 frame
 * 0 is taken to be the frame 1 of the previous call, whose bitmaps are kept.
 *
 * ERR_INVALID_PARAM: a null argument, result or plane, a count other than 2, a `refIndex` other
 * than 0 or 1, frames that differ or that are not of the size of the context's first alignment;
 * nothing is changed.
 * ERR_NO_MEMORY, only in a context's first alignment: the context is left as a fresh one, and the
 * results are zero. An arena refuses the empty bitmap set of a very thin frame. */
KELVANE_CPP_API long Image_Alignment_Video(void* ctx, _tag_ZEP_NS_INPUTINFO* input, long refIndex,
                                           long** results, long recompute);

/* The building blocks of the alignment. Sizes are in pixels unless named otherwise, and buffers
 * are trusted to hold what their sizes say.
 *
 * A threshold bitmap has rows of ceil(width / 32) * 4 + 4 bytes: little-endian 32-bit words, bit k
 * of word i for pixel 32 * i + k, zero after the last pixel and in one more word. A grey map has
 * a byte per pixel and rows rounded up to 4 bytes. A bitmap set holds the levels s .. L of a frame,
 * finest first, with s = L - k when L > k and else 0: the two coarsest as grey maps, the others as
 * bitmaps. Level s is (width >> s) x (height >> s); coarser levels are halved, rounding up. */

/* The threshold of `image`: of the two cuts next to the median, the one that splits the pixels
 * more evenly; -1 for a format without 8-bit luma and for a frame of less than two pixels. Frames
 * beyond 512 pixels are counted at every 2^k-th pixel of every 2^k-th row. `outThreshold` may be
 * null; context, `reserved` and `histogram` (room for 256 counters) are not touched. */
KELVANE_CPP_API long TorInterThreshold(_tag_ZEP_ABDEBLUR* ctx, __tag_KIRO_OFFSCREEN* image,
                                       unsigned char* reserved, long* outThreshold, long width,
                                       long height, long pitch, long* histogram);

/* Allocates a bitmap set, with the context's memory handle. `firstRowBytes` is not read.
 * ERR_INVALID_PARAM: null, or sizes and levels that no frame has. ERR_NO_MEMORY, in an arena also
 * for an empty set, of which no level has a pixel row: `*outSet` is unchanged. */
KELVANE_CPP_API long Alloc_ComputeBitMaps_Video(_tag_ZEP_ABDEBLUR* ctx, unsigned char** outSet,
                                                long width, long height, long levels, long k,
                                                long firstRowBytes);

/* Fills a bitmap set; does nothing when `enable` is 0 or the set is null. */
KELVANE_CPP_API long Creat_ComputeBitMaps_Video(unsigned char* set, __tag_KIRO_OFFSCREEN* image,
                                                long threshold, long width, long height,
                                                long levels, long k, long enable);

/* Writes the threshold bitmap of a level: 1 where the luma is above the threshold. `dstRowBytes`
 * bytes are written to each row. */
KELVANE_CPP_API void ComputeBitmaps2(unsigned char* src, long width, long height, long pitch,
                                     unsigned char* dst, long dstRowBytes, long threshold,
                                     long level, long format);

/* Halves a bitmap. A result pixel is 1 when at least 2 (`parity` even) or 3 (odd) of its four are.
 * A missing last row is taken twice. ((srcWidth / 2) + 31) >> 5 words are made per row, and the
 * rest of `dstRowBytes` is zero. */
KELVANE_CPP_API void BitImageShrink2(const unsigned char* src, long srcRows, long srcWidth,
                                     long srcRowBytes, unsigned char* dst, long dstRows,
                                     long dstWidth, long dstRowBytes, long parity);

/* Writes the grey map of a level. A row or column that the source does not reach repeats the last
 * one. A frame too thin for the level gives its first pixel, and zero padding. */
KELVANE_CPP_API void ComputeGraymaps2(unsigned char* src, long width, long height, long pitch,
                                      unsigned char* dst, long dstWidth, long dstHeight,
                                      long dstStride, long level, long format);

/* Allocates a pyramid; null without an error when `levels` <= `k`, whatever the other arguments.
 * `firstRowBytes` is not read. ERR_INVALID_PARAM, ERR_NO_MEMORY: as for the bitmap set. */
KELVANE_CPP_API long Alloc_ComputeBitPyramid_Video(_tag_ZEP_ABDEBLUR* ctx,
                                                   _tag_BitPyramid_Struct** outPyramid, long width,
                                                   long height, long levels, long k,
                                                   long firstRowBytes);

/* Fills every level of a pyramid; does nothing when `levels` <= `k` or `enable` is 0. */
KELVANE_CPP_API long Creat_ComputePyramidMaps_Video(_tag_BitPyramid_Struct* pyramid,
                                                    __tag_KIRO_OFFSCREEN* image, long threshold,
                                                    long width, long height, long levels, long k,
                                                    long enable);

/* Fills the patches of one level at its offsets. A patch that leaves the frame is marked invalid
 * and not written. Returns `pitch` << `levelIndex`. */
KELVANE_CPP_API long ComputeBitmaps2Interleave(unsigned char* src, long width, long height,
                                               long pitch, _tag_BitMap_Struct* level,
                                               long threshold, long levelIndex, long format);

/* Releases a pyramid of the context and nulls the variable; null does nothing. */
KELVANE_CPP_API void ReleasePyrBit(_tag_ZEP_ABDEBLUR* ctx, _tag_BitPyramid_Struct** pyramid);

/* Counts where a(p) and b(p - d), d = (dx, dy), disagree over their whole overlap. */
KELVANE_CPP_API unsigned long BitmapOperation2(unsigned char* a, unsigned char* b, long widthBits,
                                               long rows, long rowBytes, long dx, long dy);

/* The same over the area that is common to the 3 x 3 displacements around d - (cx, cy). */
KELVANE_CPP_API unsigned long BitmapOperation2_BF(unsigned char* a, unsigned char* b,
                                                  long widthBits, long rows, long rowBytes, long dx,
                                                  long dy, long cx, long cy);

/* Three counts at once, for dx - 1, dx and dx + 1: only whole words, bits 1 to 30 of each. */
KELVANE_CPP_API void BitmapOperationline2(unsigned char* a, unsigned char* b, long* sums,
                                          long widthBits, long rows, long rowBytes, long dx,
                                          long dy);

/* The same over the rows common to the three displacements around dy - cy. */
KELVANE_CPP_API void BitmapOperationline2_BF(unsigned char* a, unsigned char* b, long* sums,
                                             long widthBits, long rows, long rowBytes, long dx,
                                             long dy, long level, long cy);

/* Counts the disagreement of the patches valid in both, the working ones moved by (cx, cy), each
 * -1, 0 or 1 (0 for other values), without the outermost pixels of each patch. */
KELVANE_CPP_API long InterBitmapOperation2(unsigned char* refData, unsigned char* workData,
                                           unsigned char* refValid, unsigned char* workValid,
                                           long widthBits, long rows, long rowBytes, long cx,
                                           long cy);

/* One level of the search, and recursively the coarser ones. `refSet` and `movSet` point to the
 * data of this level (or, with more than `k` levels left, of the finest stored level); `result`
 * receives {dx, dy} in this level's pixels, `*score` the residual when a wide bitmap level has
 * number 2. `usePatches` 1 refines the finest levels with the pyramids; with `directLevels` every
 * level is a stored one. ERR_INVALID_PARAM: a null set, result or score, `usePatches` above 3, or
 * pyramids without the level that is asked for. */
KELVANE_CPP_API long
Alignment2Image2_Video(_tag_ZEP_ABDEBLUR* ctx, unsigned char* refSet, unsigned char* movSet,
                       unsigned char* movLuma, long width, long height, long pitch, long levelWidth,
                       long levelHeight, long levelStride, long levelsLeft, long k, long* result,
                       _tag_BitPyramid_Struct* refPyramid, _tag_BitPyramid_Struct* workPyramid,
                       long refThreshold, long movThreshold, long usePatches, long reserved,
                       long directLevels, long format, long* score);

/* ---------------------------------------------------------------------------------------------
 * 15. Changed region
 *
 * Where two frames of one scene differ: the second is aligned to the first, the signed difference
 * smoothed, cut into darker, unchanged and brighter, and cleaned by an opening and a closing. */

struct _tag_ROI_INFO {
    __tag_rect rect;    /* of the changed pixels, in the second frame; all zero for none */
    float changedRatio; /* changed pixels in `rect` over all pixels */
    int64_t dx;         /* displacement of the second frame against the first */
    int64_t dy;
};

/* Creates a context for frames of one size; `format` is 0x601, 0x603 or 0x802.
 * ERR_INVALID_PARAM: null, a size below 1, the format. ERR_NO_MEMORY: nothing is kept. */
KELVANE_CPP_API long roiInit(void* memHandle, long width, long height, long format, void** outRoi);

/* Releases a context and nulls the caller's variable; null does nothing. */
KELVANE_CPP_API void roiUninit(void** roi);

/* Finds the changed region of two frames, whose pitches may be negative. `alignment` must not be
 * null; its contents are not read. `out` is written only on success.
 *
 * ERR_INVALID_PARAM: a null argument or plane, frames that are not of the context's size, differ
 * in format or have none that `roiInit` takes; a shorter side below 100 pixels (the cleaning has no
 * radius then); a displacement as large as the frame.
 * ERR_NO_MEMORY: the buffers of the alignment (first call), of the smoothing or the cleaning. */
KELVANE_CPP_API long roiCalculate(void* roi, __tag_KIRO_OFFSCREEN* first,
                                  __tag_KIRO_OFFSCREEN* second, _tag_DRAV_ALIGNMENT* alignment,
                                  _tag_ROI_INFO* out);

/* The bounding rectangle of the nonzero bytes of plane 0; all zero when there are none, or when
 * they share one column. */
KELVANE_CPP_API void FindMaskBBox(const __tag_KIRO_OFFSCREEN* mask, __tag_rect* out);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ---------------------------------------------------------------------------------------------
 * 16. Layouts
 *
 * Those of LP64 platforms. WebAssembly has pointers of 4 bytes: its callers are on the other side
 * of the JavaScript layer. */

#if (defined(__cplusplus) || __STDC_VERSION__ >= 201112L) && !defined(__wasm32__)
static_assert(sizeof(long) == 8 && sizeof(void*) == 8, "Kelvane is built for LP64 platforms");
static_assert(sizeof(__tag_rect) == 16, "");
static_assert(offsetof(__tag_KIRO_OFFSCREEN, planes) == 16, "");
static_assert(offsetof(__tag_KIRO_OFFSCREEN, pitches) == 48, "");
static_assert(sizeof(__tag_KIRO_OFFSCREEN) == 64, "");
static_assert(offsetof(_tag_VERSION_INFO, version) == 32 && sizeof(_tag_VERSION_INFO) == 56, "");
static_assert(offsetof(_tag_DRAV_DATA, size) == 8 && sizeof(_tag_DRAV_DATA) == 16, "");
static_assert(offsetof(_tag_DRAV_BLURRESULT, score) == 12, "");
static_assert(sizeof(_tag_DRAV_BLURRESULT) == 16, "");
static_assert(sizeof(_tag_DRAV_ALIGNMENT) == 24, "");
static_assert(offsetof(_tag_DRAV_FACEINFO, rects) == 8, "");
static_assert(offsetof(_tag_DRAV_FACEINFO, smiles) == 32 && sizeof(_tag_DRAV_FACEINFO) == 40, "");
static_assert(offsetof(_tag_DRAV_PARAM, faces) == 8 && sizeof(_tag_DRAV_PARAM) == 16, "");
static_assert(offsetof(_tag_DRAV_RESULT, indices) == 8, "");
static_assert(offsetof(_tag_DRAV_RESULT, best) == 16 && sizeof(_tag_DRAV_RESULT) == 24, "");
static_assert(offsetof(_tag_DRAV_MOVINGOBJ, mask) == 16 && sizeof(_tag_DRAV_MOVINGOBJ) == 24, "");
static_assert(offsetof(_tag_DRAV_MOVINGINFO, objects) == 24, "");
static_assert(offsetof(_tag_DRAV_MOVINGINFO, count) == 32, "");
static_assert(sizeof(_tag_DRAV_MOVINGINFO) == 40, "");
static_assert(offsetof(_tag_Preprocessor_Data, records) == 32, "");
static_assert(offsetof(_tag_Preprocessor_Data, frameCount) == 40, "");
static_assert(offsetof(_tag_Preprocessor_Data, secondMaps) == 56, "");
static_assert(sizeof(_tag_Preprocessor_Data) == 64, "");
static_assert(offsetof(_tag_BitMap_Struct, valid) == 48 && sizeof(_tag_BitMap_Struct) == 64, "");
static_assert(sizeof(_tag_BitPyramid_Struct) == 24 && sizeof(_tag_ZEP_NS_INPUTINFO) == 24, "");
static_assert(offsetof(_tag_ROI_INFO, changedRatio) == 16, "");
static_assert(offsetof(_tag_ROI_INFO, dx) == 24 && sizeof(_tag_ROI_INFO) == 40, "");
#endif

/* ---------------------------------------------------------------------------------------------
 * 17. Names for C
 *
 * Assembler labels, as GCC and Clang take them. */

#ifndef __cplusplus
#define KELVANE_EXPORTED_AS(function, name) extern __typeof__(function) function __asm__(name)

KELVANE_EXPORTED_AS(imgEvaluateSharpness,
                    "_Z20imgEvaluateSharpnessPvP20__tag_KIRO_OFFSCREENPfP10__tag_rect");
KELVANE_EXPORTED_AS(calMaskArea, "_Z11calMaskAreaPhllliP10__tag_rectPl");
KELVANE_EXPORTED_AS(ReadProcessorData, "_Z17ReadProcessorDataPvPP22_tag_Preprocessor_DataS_i");
KELVANE_EXPORTED_AS(FreeProcessorData, "_Z17FreeProcessorDataPvPP22_tag_Preprocessor_Data");
KELVANE_EXPORTED_AS(allocParamsFace, "_Z15allocParamsFacePvP15_tag_DRAV_PARAMl");
KELVANE_EXPORTED_AS(freeParamsFace, "_Z14freeParamsFacePvP15_tag_DRAV_PARAMl");
KELVANE_EXPORTED_AS(allocParamsAlign, "_Z16allocParamsAlignPvP15_tag_DRAV_PARAMl");
KELVANE_EXPORTED_AS(freeParamsAlign, "_Z15freeParamsAlignPvP15_tag_DRAV_PARAMl");
KELVANE_EXPORTED_AS(allocParams, "_Z11allocParamsPvP15_tag_DRAV_PARAMl");
KELVANE_EXPORTED_AS(freeParams, "_Z10freeParamsPvP15_tag_DRAV_PARAMl");
KELVANE_EXPORTED_AS(Alignment_Init, "_Z14Alignment_InitPvPS_");
KELVANE_EXPORTED_AS(Alignment_Uninit, "_Z16Alignment_UninitPPv");
KELVANE_EXPORTED_AS(Image_Alignment_Video,
                    "_Z21Image_Alignment_VideoPvP21_tag_ZEP_NS_INPUTINFOlPPll");
KELVANE_EXPORTED_AS(TorInterThreshold,
                    "_Z17TorInterThresholdP17_tag_ZEP_ABDEBLURP20__tag_KIRO_OFFSCREENPhPllllS4_");
KELVANE_EXPORTED_AS(Alloc_ComputeBitMaps_Video,
                    "_Z26Alloc_ComputeBitMaps_VideoP17_tag_ZEP_ABDEBLURPPhlllll");
KELVANE_EXPORTED_AS(Creat_ComputeBitMaps_Video,
                    "_Z26Creat_ComputeBitMaps_VideoPhP20__tag_KIRO_OFFSCREENllllll");
KELVANE_EXPORTED_AS(ComputeBitmaps2, "_Z15ComputeBitmaps2PhlllS_llll");
KELVANE_EXPORTED_AS(BitImageShrink2, "_Z15BitImageShrink2PKhlllPhllll");
KELVANE_EXPORTED_AS(ComputeGraymaps2, "_Z16ComputeGraymaps2PhlllS_lllll");
KELVANE_EXPORTED_AS(
    Alloc_ComputeBitPyramid_Video,
    "_Z29Alloc_ComputeBitPyramid_VideoP17_tag_ZEP_ABDEBLURPP22_tag_BitPyramid_Structlllll");
KELVANE_EXPORTED_AS(
    Creat_ComputePyramidMaps_Video,
    "_Z30Creat_ComputePyramidMaps_VideoP22_tag_BitPyramid_StructP20__tag_KIRO_OFFSCREENllllll");
KELVANE_EXPORTED_AS(ComputeBitmaps2Interleave,
                    "_Z25ComputeBitmaps2InterleavePhlllP18_tag_BitMap_Structlll");
KELVANE_EXPORTED_AS(ReleasePyrBit,
                    "_Z13ReleasePyrBitP17_tag_ZEP_ABDEBLURPP22_tag_BitPyramid_Struct");
KELVANE_EXPORTED_AS(BitmapOperation2, "_Z16BitmapOperation2PhS_lllll");
KELVANE_EXPORTED_AS(BitmapOperation2_BF, "_Z19BitmapOperation2_BFPhS_lllllll");
KELVANE_EXPORTED_AS(BitmapOperationline2, "_Z20BitmapOperationline2PhS_Pllllll");
KELVANE_EXPORTED_AS(BitmapOperationline2_BF, "_Z23BitmapOperationline2_BFPhS_Pllllllll");
KELVANE_EXPORTED_AS(InterBitmapOperation2, "_Z21InterBitmapOperation2PhS_S_S_lllll");
KELVANE_EXPORTED_AS(Alignment2Image2_Video, "_Z22Alignment2Image2_VideoP17_tag_ZEP_ABDEBLURPhS1_S1_"
                                            "llllllllPlP22_tag_BitPyramid_StructS4_llllllS2_");
KELVANE_EXPORTED_AS(roiInit, "_Z7roiInitPvlllPS_");
KELVANE_EXPORTED_AS(roiUninit, "_Z9roiUninitPPv");
KELVANE_EXPORTED_AS(
    roiCalculate,
    "_Z12roiCalculatePvP20__tag_KIRO_OFFSCREENS1_P19_tag_DRAV_ALIGNMENTP13_tag_ROI_INFO");
KELVANE_EXPORTED_AS(FindMaskBBox, "_Z12FindMaskBBoxPK20__tag_KIRO_OFFSCREENP10__tag_rect");

#undef KELVANE_EXPORTED_AS
#endif

#endif /* KELVANE_KELVANE_H */
