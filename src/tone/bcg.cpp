// Brightness, contrast and gamma tables: every input sample value of a depth mapped
// through a gamma curve, a contrast stretch about mid-grey and a brightness shift, in
// single precision, one rounding per operation in the order written.
#include <cstdint>

#include "korvimg.h"
#include "tone/tone.h"

namespace korvimg {
namespace {

// Gamma exponent for setting s at s + 127: 3^(s/127) rounded to the nearest float.
constexpr float kGammaExponent[255] = {
    0x1.555556p-2f, 0x1.584c8p-2f, 0x1.5b4a44p-2f, 0x1.5e4ebp-2f, 0x1.6159d2p-2f, 0x1.646bb8p-2f,
    0x1.678472p-2f, 0x1.6aa40ep-2f, 0x1.6dca9ep-2f, 0x1.70f83p-2f, 0x1.742cd2p-2f, 0x1.776898p-2f,
    0x1.7aab8cp-2f, 0x1.7df5c2p-2f, 0x1.81474ap-2f, 0x1.84a034p-2f, 0x1.88008ep-2f, 0x1.8b686cp-2f,
    0x1.8ed7dcp-2f, 0x1.924efp-2f, 0x1.95cdbap-2f, 0x1.995448p-2f, 0x1.9ce2bp-2f, 0x1.a079p-2f,
    0x1.a4174ap-2f, 0x1.a7bdap-2f, 0x1.ab6c14p-2f, 0x1.af22bap-2f, 0x1.b2e1ap-2f, 0x1.b6a8dcp-2f,
    0x1.ba788p-2f, 0x1.be509cp-2f, 0x1.c23146p-2f, 0x1.c61a9p-2f, 0x1.ca0c8cp-2f, 0x1.ce074ep-2f,
    0x1.d20aecp-2f, 0x1.d61776p-2f, 0x1.da2d02p-2f, 0x1.de4ba2p-2f, 0x1.e2736ep-2f, 0x1.e6a476p-2f,
    0x1.eaded2p-2f, 0x1.ef2294p-2f, 0x1.f36fd4p-2f, 0x1.f7c6a4p-2f, 0x1.fc271ap-2f, 0x1.0048a6p-1f,
    0x1.0282a8p-1f, 0x1.04c19ep-1f, 0x1.070594p-1f, 0x1.094e92p-1f, 0x1.0b9ca6p-1f, 0x1.0defdap-1f,
    0x1.10483ap-1f, 0x1.12a5d2p-1f, 0x1.1508acp-1f, 0x1.1770d6p-1f, 0x1.19de58p-1f, 0x1.1c5142p-1f,
    0x1.1ec99ep-1f, 0x1.214778p-1f, 0x1.23cadep-1f, 0x1.2653dap-1f, 0x1.28e27ap-1f, 0x1.2b76c8p-1f,
    0x1.2e10d4p-1f, 0x1.30b0aap-1f, 0x1.335656p-1f, 0x1.3601e6p-1f, 0x1.38b364p-1f, 0x1.3b6ae2p-1f,
    0x1.3e2868p-1f, 0x1.40ec08p-1f, 0x1.43b5cep-1f, 0x1.4685c8p-1f, 0x1.495c02p-1f, 0x1.4c388cp-1f,
    0x1.4f1b74p-1f, 0x1.5204c6p-1f, 0x1.54f492p-1f, 0x1.57eae8p-1f, 0x1.5ae7d2p-1f, 0x1.5deb62p-1f,
    0x1.60f5a6p-1f, 0x1.6406aep-1f, 0x1.671e88p-1f, 0x1.6a3d42p-1f, 0x1.6d62ecp-1f, 0x1.708f98p-1f,
    0x1.73c352p-1f, 0x1.76fe2cp-1f, 0x1.7a4034p-1f, 0x1.7d897cp-1f, 0x1.80da12p-1f, 0x1.843208p-1f,
    0x1.87916ep-1f, 0x1.8af854p-1f, 0x1.8e66ccp-1f, 0x1.91dce4p-1f, 0x1.955abp-1f, 0x1.98e04p-1f,
    0x1.9c6da4p-1f, 0x1.a002fp-1f, 0x1.a3a034p-1f, 0x1.a74582p-1f, 0x1.aaf2eap-1f, 0x1.aea882p-1f,
    0x1.b2665ap-1f, 0x1.b62c82p-1f, 0x1.b9fb12p-1f, 0x1.bdd218p-1f, 0x1.c1b1a8p-1f, 0x1.c599d6p-1f,
    0x1.c98ab4p-1f, 0x1.cd8456p-1f, 0x1.d186dp-1f, 0x1.d59234p-1f, 0x1.d9a696p-1f, 0x1.ddc40cp-1f,
    0x1.e1eaaap-1f, 0x1.e61a82p-1f, 0x1.ea53acp-1f, 0x1.ee9638p-1f, 0x1.f2e24p-1f, 0x1.f737d4p-1f,
    0x1.fb970ep-1f, 0x1p+0f, 0x1.02396p+0f, 0x1.0477b4p+0f, 0x1.06bb04p+0f, 0x1.09035ep+0f,
    0x1.0b50cap+0f, 0x1.0da356p+0f, 0x1.0ffb0cp+0f, 0x1.1257f6p+0f, 0x1.14ba24p+0f, 0x1.17219ep+0f,
    0x1.198e72p+0f, 0x1.1c00aap+0f, 0x1.1e7852p+0f, 0x1.20f578p+0f, 0x1.237826p+0f, 0x1.26006ap+0f,
    0x1.288e5p+0f, 0x1.2b21e4p+0f, 0x1.2dbb34p+0f, 0x1.305a4cp+0f, 0x1.32ff36p+0f, 0x1.35aa04p+0f,
    0x1.385acp+0f, 0x1.3b1178p+0f, 0x1.3dce38p+0f, 0x1.40911p+0f, 0x1.435a0cp+0f, 0x1.462938p+0f,
    0x1.48fea6p+0f, 0x1.4bda6p+0f, 0x1.4ebc76p+0f, 0x1.51a4f4p+0f, 0x1.5493ecp+0f, 0x1.57896ap+0f,
    0x1.5a857cp+0f, 0x1.5d883p+0f, 0x1.609198p+0f, 0x1.63a1c2p+0f, 0x1.66b8bap+0f, 0x1.69d692p+0f,
    0x1.6cfb58p+0f, 0x1.70271ep+0f, 0x1.7359fp+0f, 0x1.7693dep+0f, 0x1.79d4fap+0f, 0x1.7d1d54p+0f,
    0x1.806cfap+0f, 0x1.83c3fep+0f, 0x1.87226ep+0f, 0x1.8a885ep+0f, 0x1.8df5dcp+0f, 0x1.916afap+0f,
    0x1.94e7c8p+0f, 0x1.986c58p+0f, 0x1.9bf8bap+0f, 0x1.9f8d02p+0f, 0x1.a3294p+0f, 0x1.a6cd84p+0f,
    0x1.aa79e4p+0f, 0x1.ae2e6ep+0f, 0x1.b1eb34p+0f, 0x1.b5b04cp+0f, 0x1.b97dc6p+0f, 0x1.bd53b6p+0f,
    0x1.c1322ep+0f, 0x1.c5194p+0f, 0x1.c909p+0f, 0x1.cd0182p+0f, 0x1.d102d8p+0f, 0x1.d50d16p+0f,
    0x1.d92052p+0f, 0x1.dd3c9ep+0f, 0x1.e1620ep+0f, 0x1.e590b6p+0f, 0x1.e9c8acp+0f, 0x1.ee0a04p+0f,
    0x1.f254d4p+0f, 0x1.f6a92ep+0f, 0x1.fb072ap+0f, 0x1.ff6edcp+0f, 0x1.01f02ep+1f, 0x1.042ddep+1f,
    0x1.06708ap+1f, 0x1.08b83ep+1f, 0x1.0b0502p+1f, 0x1.0d56e6p+1f, 0x1.0fadf2p+1f, 0x1.120a32p+1f,
    0x1.146bb2p+1f, 0x1.16d27ep+1f, 0x1.193eap+1f, 0x1.1bb028p+1f, 0x1.1e271cp+1f, 0x1.20a38ep+1f,
    0x1.232586p+1f, 0x1.25ad12p+1f, 0x1.283a4p+1f, 0x1.2acd18p+1f, 0x1.2d65acp+1f, 0x1.300404p+1f,
    0x1.32a83p+1f, 0x1.35523cp+1f, 0x1.380234p+1f, 0x1.3ab826p+1f, 0x1.3d7422p+1f, 0x1.40363p+1f,
    0x1.42fe62p+1f, 0x1.45ccc2p+1f, 0x1.48a162p+1f, 0x1.4b7c4cp+1f, 0x1.4e5d92p+1f, 0x1.51453ep+1f,
    0x1.54336p+1f, 0x1.572806p+1f, 0x1.5a234p+1f, 0x1.5d251cp+1f, 0x1.602da6p+1f, 0x1.633cf2p+1f,
    0x1.66530ap+1f, 0x1.697p+1f, 0x1.6c93e2p+1f, 0x1.6fbecp+1f, 0x1.72f0aap+1f, 0x1.7629bp+1f,
    0x1.7969ep+1f, 0x1.7cb14ap+1f, 0x1.8p+1f,
};

// Contrast factor for setting s at s + 127: 4^(s/127) rounded to the nearest float,
// except at s = -64 and s = 64, which are exactly 0.5 and 2.0.
constexpr float kContrastFactor[255] = {
    0x1p-2f, 0x1.02cf4ap-2f, 0x1.05a67ap-2f, 0x1.0885a4p-2f, 0x1.0b6cep-2f, 0x1.0e5c44p-2f,
    0x1.1153e8p-2f, 0x1.1453e2p-2f, 0x1.175c4ap-2f, 0x1.1a6d38p-2f, 0x1.1d86c2p-2f, 0x1.20a902p-2f,
    0x1.23d41p-2f, 0x1.270806p-2f, 0x1.2a44fcp-2f, 0x1.2d8b0ap-2f, 0x1.30da4ap-2f, 0x1.3432d8p-2f,
    0x1.3794ccp-2f, 0x1.3b0042p-2f, 0x1.3e7552p-2f, 0x1.41f41ap-2f, 0x1.457cb4p-2f, 0x1.490f3cp-2f,
    0x1.4cabcep-2f, 0x1.505284p-2f, 0x1.54037ep-2f, 0x1.57bed6p-2f, 0x1.5b84acp-2f, 0x1.5f551ap-2f,
    0x1.63304p-2f, 0x1.67163cp-2f, 0x1.6b072ap-2f, 0x1.6f032ep-2f, 0x1.730a62p-2f, 0x1.771ce8p-2f,
    0x1.7b3adep-2f, 0x1.7f6468p-2f, 0x1.8399a2p-2f, 0x1.87daaep-2f, 0x1.8c27bp-2f, 0x1.9080c6p-2f,
    0x1.94e614p-2f, 0x1.9957bcp-2f, 0x1.9dd5ep-2f, 0x1.a260a4p-2f, 0x1.a6f82ap-2f, 0x1.ab9c98p-2f,
    0x1.b04e1p-2f, 0x1.b50cbap-2f, 0x1.b9d8b6p-2f, 0x1.beb22ep-2f, 0x1.c39946p-2f, 0x1.c88e26p-2f,
    0x1.cd90f2p-2f, 0x1.d2a1d2p-2f, 0x1.d7c0ecp-2f, 0x1.dcee6cp-2f, 0x1.e22a78p-2f, 0x1.e7753ap-2f,
    0x1.eccedap-2f, 0x1.f23782p-2f, 0x1.f7af5cp-2f, 0x1p-1f, 0x1.0166aap-1f, 0x1.0439e4p-1f,
    0x1.07150ep-1f, 0x1.09f83ep-1f, 0x1.0ce38cp-1f, 0x1.0fd70ep-1f, 0x1.12d2d8p-1f, 0x1.15d706p-1f,
    0x1.18e3aep-1f, 0x1.1bf8e8p-1f, 0x1.1f16cap-1f, 0x1.223d6ep-1f, 0x1.256cecp-1f, 0x1.28a55ep-1f,
    0x1.2be6dep-1f, 0x1.2f3182p-1f, 0x1.328566p-1f, 0x1.35e2a4p-1f, 0x1.394956p-1f, 0x1.3cb994p-1f,
    0x1.40337ep-1f, 0x1.43b72cp-1f, 0x1.4744bap-1f, 0x1.4adc42p-1f, 0x1.4e7de2p-1f, 0x1.5229b8p-1f,
    0x1.55dfdcp-1f, 0x1.59a07p-1f, 0x1.5d6b8ep-1f, 0x1.614154p-1f, 0x1.6521ep-1f, 0x1.690d52p-1f,
    0x1.6d03c8p-1f, 0x1.71056p-1f, 0x1.751238p-1f, 0x1.792a72p-1f, 0x1.7d4e2ep-1f, 0x1.817d8cp-1f,
    0x1.85b8acp-1f, 0x1.89ffaep-1f, 0x1.8e52b6p-1f, 0x1.92b1e4p-1f, 0x1.971d5ap-1f, 0x1.9b953cp-1f,
    0x1.a019acp-1f, 0x1.a4aaccp-1f, 0x1.a948c2p-1f, 0x1.adf3bp-1f, 0x1.b2abbcp-1f, 0x1.b7710cp-1f,
    0x1.bc43c2p-1f, 0x1.c12404p-1f, 0x1.c611fap-1f, 0x1.cb0dccp-1f, 0x1.d0179cp-1f, 0x1.d52f96p-1f,
    0x1.da55dep-1f, 0x1.df8a9ep-1f, 0x1.e4cep-1f, 0x1.ea202cp-1f, 0x1.ef814ap-1f, 0x1.f4f186p-1f,
    0x1.fa710ap-1f, 0x1p+0f, 0x1.02cf4ap+0f, 0x1.05a67ap+0f, 0x1.0885a4p+0f, 0x1.0b6cep+0f,
    0x1.0e5c44p+0f, 0x1.1153e8p+0f, 0x1.1453e2p+0f, 0x1.175c4ap+0f, 0x1.1a6d38p+0f, 0x1.1d86c2p+0f,
    0x1.20a902p+0f, 0x1.23d41p+0f, 0x1.270806p+0f, 0x1.2a44fcp+0f, 0x1.2d8b0ap+0f, 0x1.30da4ap+0f,
    0x1.3432d8p+0f, 0x1.3794ccp+0f, 0x1.3b0042p+0f, 0x1.3e7552p+0f, 0x1.41f41ap+0f, 0x1.457cb4p+0f,
    0x1.490f3cp+0f, 0x1.4cabcep+0f, 0x1.505284p+0f, 0x1.54037ep+0f, 0x1.57bed6p+0f, 0x1.5b84acp+0f,
    0x1.5f551ap+0f, 0x1.63304p+0f, 0x1.67163cp+0f, 0x1.6b072ap+0f, 0x1.6f032ep+0f, 0x1.730a62p+0f,
    0x1.771ce8p+0f, 0x1.7b3adep+0f, 0x1.7f6468p+0f, 0x1.8399a2p+0f, 0x1.87daaep+0f, 0x1.8c27bp+0f,
    0x1.9080c6p+0f, 0x1.94e614p+0f, 0x1.9957bcp+0f, 0x1.9dd5ep+0f, 0x1.a260a4p+0f, 0x1.a6f82ap+0f,
    0x1.ab9c98p+0f, 0x1.b04e1p+0f, 0x1.b50cbap+0f, 0x1.b9d8b6p+0f, 0x1.beb22ep+0f, 0x1.c39946p+0f,
    0x1.c88e26p+0f, 0x1.cd90f2p+0f, 0x1.d2a1d2p+0f, 0x1.d7c0ecp+0f, 0x1.dcee6cp+0f, 0x1.e22a78p+0f,
    0x1.e7753ap+0f, 0x1.eccedap+0f, 0x1.f23782p+0f, 0x1.f7af5cp+0f, 0x1.fd3694p+0f, 0x1p+1f,
    0x1.0439e4p+1f, 0x1.07150ep+1f, 0x1.09f83ep+1f, 0x1.0ce38cp+1f, 0x1.0fd70ep+1f, 0x1.12d2d8p+1f,
    0x1.15d706p+1f, 0x1.18e3aep+1f, 0x1.1bf8e8p+1f, 0x1.1f16cap+1f, 0x1.223d6ep+1f, 0x1.256cecp+1f,
    0x1.28a55ep+1f, 0x1.2be6dep+1f, 0x1.2f3182p+1f, 0x1.328566p+1f, 0x1.35e2a4p+1f, 0x1.394956p+1f,
    0x1.3cb994p+1f, 0x1.40337ep+1f, 0x1.43b72cp+1f, 0x1.4744bap+1f, 0x1.4adc42p+1f, 0x1.4e7de2p+1f,
    0x1.5229b8p+1f, 0x1.55dfdcp+1f, 0x1.59a07p+1f, 0x1.5d6b8ep+1f, 0x1.614154p+1f, 0x1.6521ep+1f,
    0x1.690d52p+1f, 0x1.6d03c8p+1f, 0x1.71056p+1f, 0x1.751238p+1f, 0x1.792a72p+1f, 0x1.7d4e2ep+1f,
    0x1.817d8cp+1f, 0x1.85b8acp+1f, 0x1.89ffaep+1f, 0x1.8e52b6p+1f, 0x1.92b1e4p+1f, 0x1.971d5ap+1f,
    0x1.9b953cp+1f, 0x1.a019acp+1f, 0x1.a4aaccp+1f, 0x1.a948c2p+1f, 0x1.adf3bp+1f, 0x1.b2abbcp+1f,
    0x1.b7710cp+1f, 0x1.bc43c2p+1f, 0x1.c12404p+1f, 0x1.c611fap+1f, 0x1.cb0dccp+1f, 0x1.d0179cp+1f,
    0x1.d52f96p+1f, 0x1.da55dep+1f, 0x1.df8a9ep+1f, 0x1.e4cep+1f, 0x1.ea202cp+1f, 0x1.ef814ap+1f,
    0x1.f4f186p+1f, 0x1.fa710ap+1f, 0x1p+2f,
};

static_assert(kGammaExponent[0] == 0x1.555556p-2f && kGammaExponent[127] == 1.0f && kGammaExponent[254] == 3.0f);
static_assert(kContrastFactor[127 - 64] == 0.5f && kContrastFactor[127] == 1.0f &&
              kContrastFactor[127 + 64] == 2.0f && kContrastFactor[254] == 4.0f);

int32_t clamp_setting(int32_t s) { return s < -127 ? -127 : s > 127 ? 127 : s; }

// N entries of type Out; output scale K; largest output Limit.
template <class Out, int32_t N, int32_t K, int32_t Limit>
uint8_t bcg_table(int32_t brightness, int32_t contrast, int32_t gamma, Out *table) {
    if (table == nullptr) return 0;
    brightness = clamp_setting(brightness);
    contrast = clamp_setting(contrast);
    gamma = clamp_setting(gamma);
    // Brightness shift s/254: the quotient of two exact floats, rounded once.
    const float shift = static_cast<float>(brightness) / 254.0f;
    const float factor = kContrastFactor[contrast + 127];
    const float exponent = kGammaExponent[gamma + 127];
    const float step = 1.0f / static_cast<float>(N);
    const float centre = 1.0f / static_cast<float>(2 * N);
    for (int32_t i = 0; i < N; ++i) {
        float x = static_cast<float>(i) * step + centre;
        if (gamma != 0) x = pow_single(x, exponent);
        const float y = ((x - 0.5f) * factor + 0.5f + shift) * static_cast<float>(K);
        int32_t v = static_cast<int32_t>(y);  // toward zero
        if (v < 0) v = 0;
        if (v > Limit) v = Limit;
        table[i] = static_cast<Out>(v);
    }
    return 1;
}

}  // namespace
}  // namespace korvimg

#define KORVIMG_BCG(name, Out, n, k, limit)                                                           \
    extern "C" KORVIMG_API uint8_t KORVIMG_CALL name(int32_t brightness, int32_t contrast, int32_t gamma, \
                                                     Out *table) {                                    \
        return ::korvimg::bcg_table<Out, n, k, limit>(brightness, contrast, gamma, table);            \
    }
KORVIMG_BCG(create_BCG_LUT8, uint8_t, 256, 256, 255)
KORVIMG_BCG(create_BCG_LUT10, uint16_t, 1024, 1024, 1024)
KORVIMG_BCG(create_BCG_LUT10_8, uint8_t, 1024, 256, 255)
KORVIMG_BCG(create_BCG_LUT12, uint16_t, 4096, 4096, 4096)
KORVIMG_BCG(create_BCG_LUT12_8, uint8_t, 4096, 256, 255)
