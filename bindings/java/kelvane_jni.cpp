// The native half of org.kelvane.Native, which says what the numbers in its arrays mean. Arguments
// were checked in Java; pixels are read where the direct buffers hold them.
#include <kelvane/kelvane.h>

#include <jni.h>

#include <cstdint>
#include <cstdlib>

namespace {

constexpr long numbersPerFrame = 5;
constexpr long numbersPerFace = 7;
constexpr long numbersPerObject = 5;

// A zero-filled array that may be null for lack of memory. The C heap, so that no C++ runtime has
// to be shipped beside the library.
template <typename T>
class Array {
public:
    explicit Array(long count)
        : data_(static_cast<T*>(std::calloc(static_cast<size_t>(count) + 1, sizeof(T)))) {}
    ~Array() { std::free(data_); }
    Array(const Array&) = delete;
    Array& operator=(const Array&) = delete;

    explicit operator bool() const { return data_ != nullptr; }
    T* data() { return data_; }
    T& operator[](long i) { return data_[i]; }

private:
    T* data_;
};

// The content of a Java array.
class Numbers {
public:
    Numbers(JNIEnv* env, jintArray array) : count_(env->GetArrayLength(array)), numbers_(count_) {
        if (numbers_)
            env->GetIntArrayRegion(array, 0, static_cast<jsize>(count_), numbers_.data());
    }

    explicit operator bool() const { return static_cast<bool>(numbers_); }
    jint operator[](long i) { return numbers_[i]; }
    long count() const { return count_; }

private:
    long count_;
    Array<jint> numbers_;
};

// The array in Java keeps each buffer alive, so that local references are not piled up.
unsigned char* addressOf(JNIEnv* env, jobjectArray buffers, long i, jint offset) {
    const jobject buffer = env->GetObjectArrayElement(buffers, static_cast<jsize>(i));
    if (buffer == nullptr)
        return nullptr;
    auto* const start = static_cast<unsigned char*>(env->GetDirectBufferAddress(buffer));
    env->DeleteLocalRef(buffer);
    return start == nullptr ? nullptr : start + offset;
}

bool fillFrames(JNIEnv* env, jobjectArray luma, jintArray array, __tag_KIRO_OFFSCREEN* frames) {
    Numbers numbers(env, array);
    for (long i = 0; numbers && i < numbers.count() / numbersPerFrame; ++i) {
        const long k = i * numbersPerFrame;
        frames[i].format = static_cast<uint32_t>(numbers[k]);
        frames[i].width = numbers[k + 1];
        frames[i].height = numbers[k + 2];
        frames[i].planes[0] = addressOf(env, luma, i, numbers[k + 3]);
        frames[i].pitches[0] = numbers[k + 4];
    }
    return static_cast<bool>(numbers);
}

__tag_rect rectAt(Numbers& numbers, long k) {
    return {numbers[k], numbers[k + 1], numbers[k + 2], numbers[k + 3]};
}

void* pointer(jlong handle) { return reinterpret_cast<void*>(handle); }

jlong handle(void* pointer) { return reinterpret_cast<jlong>(pointer); }

void store(JNIEnv* env, jintArray array, jsize at, int64_t value) {
    const auto number = static_cast<jint>(value);
    env->SetIntArrayRegion(array, at, 1, &number);
}

jstring version(JNIEnv* env, jclass) {
    _tag_VERSION_INFO info = {};
    DRAV_GetVersion(&info);
    return env->NewStringUTF(info.version);
}

jlong createArena(JNIEnv* env, jclass, jobject arena, jint offset, jint size) {
    auto* const start = static_cast<unsigned char*>(env->GetDirectBufferAddress(arena));
    return start == nullptr ? 0 : handle(VantMemMgrCreate(start + offset, size));
}

jlong createEngine(JNIEnv*, jclass, jlong memory) {
    _tag_DRAV_ENGINE* engine = nullptr;
    DRAV_Init(pointer(memory), &engine);
    return handle(engine);
}

void releaseEngine(JNIEnv*, jclass, jlong engine) {
    auto* released = static_cast<_tag_DRAV_ENGINE*>(pointer(engine));
    DRAV_Uninit(&released);
}

jint blurScore(JNIEnv* env, jclass, jlong engine, jobjectArray luma, jintArray numbers,
               jintArray score) {
    __tag_KIRO_OFFSCREEN frame = {};
    if (!fillFrames(env, luma, numbers, &frame))
        return ERR_NO_MEMORY;
    _tag_DRAV_DATA result = {};
    const long code =
        DRAV_DetectBlur(static_cast<_tag_DRAV_ENGINE*>(pointer(engine)), &frame, &result);
    if (code == ERR_NONE)
        store(env, score, 0, static_cast<_tag_DRAV_BLURRESULT*>(result.data)->score);
    return static_cast<jint>(code);
}

// The faces of a burst in the library's records.
class Faces {
public:
    Faces(JNIEnv* env, jintArray counts, jintArray faces)
        : counts_(env, counts), numbers_(env, faces), n_(numbers_.count() / numbersPerFace),
          infos_(counts_.count()), params_(counts_.count()), rects_(n_), states_(3 * n_) {
        if (*this)
            fill();
    }

    explicit operator bool() const {
        return counts_ && numbers_ && infos_ && params_ && rects_ && states_;
    }
    _tag_DRAV_PARAM* params() { return params_.data(); }

private:
    void fill() {
        for (long j = 0; j < n_; ++j) {
            rects_[j] = rectAt(numbers_, j * numbersPerFace);
            for (long column = 0; column < 3; ++column)
                states_[column * n_ + j] =
                    static_cast<uint64_t>(numbers_[j * numbersPerFace + 4 + column]);
        }
        long first = 0;
        for (long i = 0; i < counts_.count(); ++i) {
            infos_[i] = {counts_[i], &rects_[first], &states_[first], &states_[n_ + first],
                         &states_[2 * n_ + first]};
            params_[i] = {nullptr, &infos_[i]};
            first += counts_[i];
        }
    }

    Numbers counts_;
    Numbers numbers_;
    long n_;
    Array<_tag_DRAV_FACEINFO> infos_;
    Array<_tag_DRAV_PARAM> params_;
    Array<__tag_rect> rects_;
    Array<uint64_t> states_; // codes, then eyes, then smiles
};

long setMovingObjects(JNIEnv* env, _tag_DRAV_ENGINE* engine, jobjectArray masks, jintArray size,
                      jintArray objects) {
    Numbers sizes(env, size);
    Numbers numbers(env, objects);
    const long n = numbers.count() / numbersPerObject;
    Array<_tag_DRAV_MOVINGOBJ> records(n);
    if (!sizes || !numbers || !records)
        return ERR_NO_MEMORY;
    for (long i = 0; i < n; ++i) {
        const long k = i * numbersPerObject;
        records[i] = {rectAt(numbers, k), addressOf(env, masks, i, numbers[k + 4])};
    }
    const _tag_DRAV_MOVINGINFO info = {sizes[0], sizes[1], sizes[2], records.data(),
                                       static_cast<int32_t>(n)};
    return SetMovingObjectInfo(engine, &info);
}

// Each burst has an engine of its own: moving objects of one burst say nothing about the next.
jint pick(JNIEnv* env, jclass, jlong memory, jobjectArray luma, jintArray numbers, jintArray counts,
          jintArray faceNumbers, jobjectArray masks, jintArray maskSize, jintArray objects,
          jintArray chosen) {
    const long n = env->GetArrayLength(luma);
    const long kept = env->GetArrayLength(chosen) - 1;
    Array<__tag_KIRO_OFFSCREEN> frames(n);
    Array<int64_t> indices(kept);
    Faces faces(env, counts, faceNumbers);
    if (!frames || !indices || !faces || !fillFrames(env, luma, numbers, frames.data()))
        return ERR_NO_MEMORY;

    _tag_DRAV_ENGINE* engine = nullptr;
    long code = DRAV_Init(pointer(memory), &engine);
    if (code == ERR_NONE && masks != nullptr)
        code = setMovingObjects(env, engine, masks, maskSize, objects);
    _tag_DRAV_RESULT result = {kept, indices.data(), -1};
    if (code == ERR_NONE)
        code = DRAV_Kelvane(engine, frames.data(), faces.params(), n, &result);
    DRAV_Uninit(&engine);
    if (code != ERR_NONE)
        return static_cast<jint>(code);
    store(env, chosen, 0, result.best);
    for (long i = 0; i < kept; ++i)
        store(env, chosen, static_cast<jsize>(i + 1), indices[i]);
    return ERR_NONE;
}

jint align(JNIEnv* env, jclass, jlong memory, jobjectArray luma, jintArray numbers,
           jintArray shift) {
    __tag_KIRO_OFFSCREEN frames[2] = {};
    void* context = nullptr;
    if (!fillFrames(env, luma, numbers, frames))
        return ERR_NO_MEMORY;
    long shifts[2][2] = {};
    long* results[] = {shifts[0], shifts[1]};
    _tag_ZEP_NS_INPUTINFO input = {2, {&frames[0], &frames[1]}};
    long code = Alignment_Init(pointer(memory), &context);
    if (code == ERR_NONE)
        code = Image_Alignment_Video(context, &input, 0, results, 1);
    Alignment_Uninit(&context);
    store(env, shift, 0, shifts[1][0]);
    store(env, shift, 1, shifts[1][1]);
    return static_cast<jint>(code);
}

jint changedRegion(JNIEnv* env, jclass, jlong memory, jobjectArray luma, jintArray numbers,
                   jintArray rectAndShift, jfloatArray ratio) {
    __tag_KIRO_OFFSCREEN frames[2] = {};
    void* context = nullptr;
    if (!fillFrames(env, luma, numbers, frames))
        return ERR_NO_MEMORY;
    long code =
        roiInit(pointer(memory), frames[0].width, frames[0].height, frames[0].format, &context);
    _tag_DRAV_ALIGNMENT unused = {};
    _tag_ROI_INFO info = {};
    if (code == ERR_NONE)
        code = roiCalculate(context, &frames[0], &frames[1], &unused, &info);
    roiUninit(&context);
    const int64_t values[] = {info.rect.left,   info.rect.top, info.rect.right,
                              info.rect.bottom, info.dx,       info.dy};
    for (jsize i = 0; i < 6; ++i)
        store(env, rectAndShift, i, values[i]);
    env->SetFloatArrayRegion(ratio, 0, 1, &info.changedRatio);
    return static_cast<jint>(code);
}

template <typename Function>
JNINativeMethod method(const char* name, const char* signature, Function* function) {
    return {const_cast<char*>(name), const_cast<char*>(signature),
            reinterpret_cast<void*>(function)};
}

} // namespace

#define BUFFER "Ljava/nio/ByteBuffer;"

// A method that is missing on either side is found here, when the library is loaded.
extern "C" JNIEXPORT jint JNICALL JNI_OnLoad(JavaVM* machine, void*) {
    JNIEnv* env = nullptr;
    if (machine->GetEnv(reinterpret_cast<void**>(&env), JNI_VERSION_1_6) != JNI_OK)
        return JNI_ERR;
    const jclass owner = env->FindClass("org/kelvane/Native");
    const JNINativeMethod methods[] = {
        method("version", "()Ljava/lang/String;", version),
        method("createArena", "(" BUFFER "II)J", createArena),
        method("createEngine", "(J)J", createEngine),
        method("releaseEngine", "(J)V", releaseEngine),
        method("blurScore", "(J[" BUFFER "[I[I)I", blurScore),
        method("pick", "(J[" BUFFER "[I[I[I[" BUFFER "[I[I[I)I", pick),
        method("align", "(J[" BUFFER "[I[I)I", align),
        method("changedRegion", "(J[" BUFFER "[I[I[F)I", changedRegion),
    };
    constexpr jint count = sizeof methods / sizeof methods[0];
    const bool registered =
        owner != nullptr && env->RegisterNatives(owner, methods, count) == JNI_OK;
    return registered ? JNI_VERSION_1_6 : JNI_ERR;
}
