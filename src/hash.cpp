// SPDX-License-Identifier: MIT
//
// Keys, the shared transposition table and its replacement. Concurrency: all workers probe and
// store at once with no lock. Two stores to one line may interleave; the check word then doesn't
// fit the data word and the entry reads as a miss. That costs a search some work, but never gives a
// wrong answer. Only the main thread creates, clears and frees the table, with every worker parked.
// The thread that warms a new table changes none of its words: it writes back what it has read, in
// one atomic operation.
//
//   Random numbers        hashCodeRandomNumber
//   Zobrist keys          initHashCodeTables, calcHashKey, calcHashKeyPawn
//   Memory                controlGroupLimit
//   Transposition table   createHashTable, warmHashTable, clearHashTable, putHashTableEntry,
//                         getHashTableEntry

#include "hash.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <limits>
#include <mutex>
#include <new>
#include <string>
#include <system_error>
#include <thread>
#include <tuple>

#ifdef __linux__
#include <sys/mman.h>
#endif
#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <unistd.h>
#endif

#include "general.h"

u64 hashCodePiece[NOFPIECECODES][NOFSQUARES];
u64 hashCodeCastling[16];
u64 hashCodeEnpassant[8];
u64 hashCodeBlackToMove;

hashLine* hashTable;
u64 hashKeyMask;
u8 hashAgeCounter;
u32 hashHartBeat;
u64 hashCountUse;
u64 hashCountPuts;
u64 hashCountGets;


// Random numbers

namespace
{

// hashCodeRandomNumber[i]: stored and not drawn at start-up, so that keys are the same in every run
// and a search can be repeated, node by node. 0 to 767: pieces, by code 2 to 13 and square a1 to
// h8. 768 to 783: castling rights by value. 784 to 791: en passant files a to h. 792: black to
// move. The rest is not used.
// clang-format off
constexpr u64 hashCodeRandomNumber[800] = {
    0xacfeaf947971818a, 0x1e1a986bcee58e3b, 0xd1dd9bbc7b8c8d68, 0x26c7a01e02433fa7,
    0xecfc16f088a49f14, 0xaf59aceb99ba119f, 0xad8356a5806b4786, 0xc90b9df5670ac584,
    0x5e450bef90c64177, 0x16524df985a06659, 0x3581e86faae4b51e, 0x87f331b99265da4e,
    0x11d5c4053f4ca85c, 0x3ba7af56faabfc14, 0xd9f93bd339c941a0, 0x25fbbf8ad2e912b0,
    0x23ddbc83dd9e25be, 0x744699951bf82abb, 0x9aec0d281e86dd3c, 0x32cf4b0ae11a12e1,
    0x5c4afbcf53fcdc20, 0xcc6f3c1f8159946d, 0x201108735861d001, 0xae3aa2fb9d65dfb3,
    0x6e3e20ddc9de1e6c, 0x20b3ead69901e0ef, 0x1d28f69facecf68a, 0xfa2b96a510792a92,
    0xf0e70f36368f0094, 0x18a7f40938a4ada0, 0x5b55371e31c8e3d5, 0x3788fbebe48d8459,
    0x137c9243bf39cf71, 0x8774a75c14254d44, 0x7384a3fdd2d60092, 0x3b9bfaad210855d0,
    0xfe2dc11063a4b110, 0x1d464f85d562de88, 0x63a33155c91ff21f, 0xec9b1ace7792bcd2,
    0x2b89627d77ebe6b6, 0x69a0c124f7c135d7, 0x0d5e8273aa3615c9, 0xec30120a0fe97a22,
    0x35ebff289672099a, 0xc6086b236435cc99, 0x3d9b7d5a81abf40a, 0xcf360215de8c02ba,
    0x317e1ac56f8dd35a, 0x316f6b354fdf5d78, 0x0ea1dd4fa8e148ac, 0x9d5bc4db5e6ae7d2,
    0xcc6c482cacc05caf, 0x6b71ba8645925273, 0x6cc9600f09d9a1be, 0xb7caac47f0367f93,
    0x970d6b07b6d0e7dd, 0x2e1dce7310cd3895, 0x24fd863467e8c647, 0xdde3008f7e983b3c,
    0x1db893d3b771e574, 0x61f6180e609c50b4, 0xe28d8ca12b03ef68, 0xd64bd3b48c385c98,
    0x2e12b5b17af060a8, 0x2a8d50faca713bb5, 0x8beb5795a17d4991, 0x0f5e9487232e16eb,
    0x418eec8509681d12, 0x9d3b7cb3153c9b80, 0x7db7bd60ead3a624, 0x8303b52baf5e5f2b,
    0xc4bf42f86847bec2, 0xf480aadb0cdff53b, 0x3d2bc6a29de9b78f, 0x35297a3188d87fc9,
    0x062687011a05542f, 0x892abf463c18d5be, 0xc22674ef2c73c89c, 0x67ff16aa1c83da8d,
    0x7bb46b940c3f7729, 0xbff891712ff121d6, 0xcc1b5d36253f249f, 0xd2e241f2d1bc6ced,
    0x5539637a6957071f, 0x2aa193ea1059d80a, 0xbe3c2f0aec73dc49, 0x438a0200b6f8fd1d,
    0xd727d6d6660ad6b2, 0x0d6bee2530b2b508, 0x619976183c3d30bb, 0x32a6f1e42fcfb211,
    0xcc93270fe578c5f3, 0xab03ed54633dcb46, 0x1d32fed8e55c026d, 0x6d063f416bb9484e,
    0x7cb30dd30a3f65d2, 0xf9cada592cd7fe67, 0xadc95d64eb318776, 0xbcf431772c60f652,
    0xd56a9680046459c2, 0x8a6551c75985a987, 0x09bb0c3fbc8517b6, 0x5efea6c7383939fa,
    0x516e8a5854b76d24, 0xa1ef2b7fab16b59d, 0x7c26459bb89cf359, 0xb4737ec9338b302f,
    0x605ee3fadad94ebe, 0xfe71fb11bcb1bc97, 0xa52f2cfcb4770e9e, 0x8d3ce9cea24946e5,
    0x3dc6e108a9a538a4, 0xdfde655f203f8547, 0x9327fba395be18d0, 0x5d130fee0688a389,
    0x2750a5922524b250, 0x94675c0f48f9c595, 0x208393fee645403b, 0x76d293aa16bf3545,
    0x3bbed5dda2e3ec53, 0x99c4d074b6b104a7, 0xd7b9bf80cd110dad, 0xdb7696f28d280bd7,
    0x8a759fa1768e4922, 0x371ba6f53ae82a33, 0x3916b0dc18d01128, 0x5d045e7054d94cc9,
    0xc8d69c03e5211120, 0x76ee85cf75ce2b98, 0x747551bdf4dc3007, 0xc6414821bdd344bc,
    0x4a87cdec53815588, 0x8b944188696f30c9, 0xb40f835387197faa, 0x9152e38104fdea93,
    0xc646ab1bff6fac84, 0x4f347369f0f2651f, 0x24daf93b994191ff, 0x265fa53931494c8f,
    0x6ba9b13065ed2af8, 0x3311ab7e99d6a00a, 0xe426c773652a861b, 0x84225ee2d8fbcbf6,
    0xd95c25bdf2c0a95a, 0xb74cf4e9f26b6da7, 0x61b69acef610ba04, 0x739a2329e43f4ccd,
    0x47916789ff3d1d53, 0xf199f982e5091b36, 0x73828ef64401d771, 0xa6049d1344fe7885,
    0xd09c4cc1fed80050, 0x5a2062a884c6c031, 0xe5cdfab2d444eba2, 0x6ee8205e42cb7423,
    0xae96dbb00d94dfc6, 0x84378fe6e6c2b86f, 0x7bd39607ce06b689, 0x782668248fc1f821,
    0xf0530bd45f05166b, 0x8a9889d72b346567, 0x6eabac1dcdd55889, 0xb00d050dea3184ad,
    0x836e578fdc9cec70, 0x27fe0af1625741f6, 0x96137a8cf2d713c4, 0x96501c6535ca4499,
    0xc02924f34587857a, 0x631cad6d85af88fc, 0xb73b15532b42194e, 0xbb9e293a3bbadab0,
    0xe6945bfbe04d8391, 0x3a331a11bcbd7970, 0xe839ce1a9449519a, 0xd5615117695a12d4,
    0xac977e056896bdfd, 0x9cb9ece5afa32baa, 0xf168c636ec336dae, 0xbc1db6f7aec42298,
    0xb8bf986c81f8a07a, 0x8bb1a99669dabc7f, 0xe82a01b6775c6d65, 0x9450adb77e48f3ff,
    0x6161b26ab27b09e0, 0xf11080c1e33d1a6f, 0x65c872e13eab2484, 0xe39b1cd440053f0d,
    0xe2d1d89848ccd9c4, 0x14266a5225c4441c, 0x879678a096f525b1, 0x666d5458e1fec752,
    0xee47bd4a1b890b5e, 0xc43d11cca6177dde, 0x599349f38fd96d94, 0x8d22a7220b4eeab2,
    0xd49b12280edde500, 0x68cad4bc48558d5b, 0xa9650d1f6abc35a0, 0xe12bf54790da0274,
    0x79f775c90cb566d8, 0x3f16707f89a6120d, 0x0acd67dbc89416f8, 0x0eacad3567e69059,
    0xd513f705aa584ac5, 0xb49c7b320af3e912, 0xb8a34be0e5f8430d, 0x87c48aa3fff65976,
    0x6a19e044b86b4408, 0x5c43039e4220b8d0, 0x12a583a9304d5bac, 0xbcc04833a298aa32,
    0xa3609c18b22f24cd, 0xb3fbbe846712ab0a, 0xb4ea37d1919572d0, 0x85b0585cd5accf23,
    0x346792df31bcc7c2, 0x9d157076eaeb62e6, 0x0eb0952916c9b9b3, 0x12f14921ffcd801c,
    0xc140ad9513dd0bea, 0x12f49c71737cf25c, 0xcf80422575b44c6d, 0xafc481324e7e6f8d,
    0x2d13e039908ee5e5, 0x090e7c4943ea6107, 0x93310587c00d9ad8, 0xfb30f2c065eed94f,
    0x5e0c3b2b61c7bc76, 0x75bd198153d3a5b7, 0xee4b5a5b4fe0120c, 0xa0f6c18920c516c6,
    0x5cb27526e52fa8f6, 0x9818667440a14638, 0x78ea4e40b42dfcc2, 0xba2bb2b430879493,
    0xb4b116f78a342585, 0x2ab87bbb7dd6661d, 0x7a413ec1a1da7f65, 0x79961668a0f05993,
    0x5db775ebc0e255c7, 0x44f7d3a50ae8de74, 0x2791529294482919, 0xd32036a8d40f7aa6,
    0xaa86ac07fb3f42f3, 0x438b8c1b44504c40, 0x3297f83a8a0db03b, 0x6a9be4827f42c0d8,
    0x53cd3bcbf286c742, 0x2d49c6ea7bb3939a, 0x77493a41f7045355, 0x8f2ae0afca02f291,
    0x8e2c13a25e61d1c8, 0x2cb98aeefaef0091, 0xdc723a470e08c840, 0xb1a29c4072e9979c,
    0x3587f9d10db74aa9, 0xef6b7d320587f8a3, 0x18e29e06f4c24ec7, 0xd41155e9098df760,
    0x9bd322589d6dbc93, 0x0815e18a68a24885, 0xf67e3056d681d844, 0x878ba8c4a75f9fca,
    0xf1e7d4ddd928ef2b, 0x418e0646c97871df, 0x040f54c0df62eaa2, 0x1f85e343f57fed17,
    0xec621202ab67b780, 0xa4d67c610e6e2526, 0xa7b593cca110bbfc, 0x0e19a72a54d04ac9,
    0x97963663f82c6569, 0x5111c1e0cf5c7710, 0x2e421cf403d625cb, 0x0b6b3ad241f4c6d3,
    0xc77b6e8a9806cc5a, 0x63055579e6982f49, 0x0668f9d6f4d0d010, 0xfed1ffb19e56692f,
    0x75de6854a80b133b, 0x9eca67a8482293dd, 0xc32b46b8e6510038, 0x566fff896237fc5f,
    0x81c193de6b121d57, 0x6d6cf70cf30fc446, 0x9040c28faea85ee9, 0x13f2a41f46e46a30,
    0x033ebd09855ac7cf, 0x7652c229f8fc27cf, 0xeadc150879707ea2, 0x9463a71a08f0e6cd,
    0xe15656026a19a9fe, 0x76c1c6fe305fa875, 0xe08fe1672d7ac620, 0xf4bcbcab8ae7b682,
    0x405f289867eb2aa2, 0x4e23de5de927cd94, 0x2f38a819b85d6e19, 0x72a607136b4f5a57,
    0x3972ad3109bbc74a, 0x658e8a6ac70f17f5, 0x2fde7a20a48febb1, 0xd059d757d404ece0,
    0xcf019b510d3b01c8, 0x34e8df14f8d56f91, 0x90f0ed774b687da6, 0xad153e67dfcca7ae,
    0x3dce3665a698b392, 0x07fb0161a18844d3, 0x296f77c30a29e210, 0x80fe7b5fec6a2038,
    0xb81072377b3f0b1c, 0x7f7f9d79aa210084, 0x58343b455490ed1d, 0xce6f23575fc02507,
    0x26ea96967bfa71bb, 0x4950222a9e91cd14, 0x7d1997ef41b00fce, 0x64a9634962eb5469,
    0x619ea56e02850f8d, 0x35a7022df8a03545, 0x66a82fe5c91aea30, 0xca093549f8d2744c,
    0x238ffa8ab827c63f, 0xe334612da924b5d4, 0x583caafc788c3bdc, 0x8887db93f08e373d,
    0x565f870aaec2db1e, 0x618c47c9d9ecdbcb, 0x4dc3243fa61943ec, 0x1c96b4d512377577,
    0x631e2579bc0b35af, 0xa010f9d5b1e07a84, 0xd1aedd5cb56a0dde, 0x4a1517cdbabac4f9,
    0x1eb26e98ad93ebb0, 0x10f0effce2c4a32f, 0x67892d3cb9d9e488, 0x4fd184e21443f38c,
    0x47b014b7e0354d77, 0x42bab4c0de0c403c, 0x7410f6d6dfbf17c7, 0x7b66801a4d922ee3,
    0x511bb4e3e9c3f22b, 0x14f38def1490a03a, 0x0b9a4c96595edce0, 0x021cffc7301dc8a3,
    0x6d1d0291f48f8f1d, 0x12f741ab86454337, 0x4fc4218146fe884d, 0x67ec0acab5991606,
    0x9ff66d505aaedf8a, 0xfccaef6532038e5f, 0x28352ad128825792, 0x3b6f785138ee91fd,
    0xa186a3cb4cb7c5b5, 0xdb6a01d442f53c3a, 0x1ca5783fd07904d6, 0x88fb2acefd783e73,
    0x979f31ed1b77a597, 0x717fb84778a19194, 0x9d7eb2fe84c2970e, 0x06e03aafdb6c6e89,
    0x23b8a9ab6f14bcb0, 0x6d0b4d960d6c6a91, 0x433a6868731b0c24, 0xaeda3316c1ad7509,
    0x23a067c1c5d1d537, 0xf474c4f55f2f09ef, 0x337d2169ea9b29f0, 0x71f9d7994672e0b1,
    0xe5d41d1dcd229b55, 0xb3fab685d0ac22a3, 0x0aed5825af2bcc6f, 0x883a1b69eec76099,
    0x129d9fbd0a734cbd, 0xb3bc6b2ef242fd9a, 0x0fccad2fa3998f50, 0x318b794ae1628ba5,
    0x18aeac77d9379671, 0x0c331b2723014609, 0x8103cb9b42e5f0da, 0xe2da7b2c7c651e6b,
    0xa4f706f98c038add, 0x5212c34a6222c545, 0xc8f4028e55f7bb1b, 0xfdaf03821cf3cfa1,
    0x5c35136cca3a2419, 0x85d6649c85120cf8, 0xf86ba7b33a32230b, 0x5d73a0e2e13b32bc,
    0xae6f56b8eca3a074, 0xbe5672f542aa59ed, 0x5706fe7cff6c5dbc, 0x0693a87c0e7ee25b,
    0x8bd1c5c1f8d89bc0, 0xe8584d3d81fe1e40, 0x88ef6c25913343cc, 0x01589a3fea7c6ce7,
    0x5a50a8c77b3965c8, 0x42e337935805ad55, 0x3efaf840e229610d, 0x6a86236434e68c2c,
    0x25307fe38dd385ae, 0x9ed0ceb4b06b2228, 0x0190f029bcb7fd50, 0xaf59a38fff44c7e5,
    0x28866bfbb3d3286c, 0x6b6a9a048659e178, 0xd1e57e782a9bee51, 0xfe35e664cc23ed23,
    0x8f0f7ae749592b13, 0x99541d1fd998c526, 0xa49fccfaedb00b41, 0x02ed7a6ebde594c1,
    0x4ad3314853a39ddf, 0xd691e5c11981995f, 0xf0b6f1d987111a07, 0xd0c188704dea3d66,
    0xc73d39df2f89a092, 0xff3a4e3dccb8c069, 0x7c700ceee4305994, 0x9e7849001fc2ec84,
    0x1f93949924fdba90, 0x403d7c395739c986, 0x3bc6f5f7bc89db4b, 0x0b3e3ed9ac936df4,
    0x338051fc144989d3, 0x9f4769e74a4d0d7b, 0x72f6718777076475, 0x4628883f80a9142b,
    0x22bc73b181eec046, 0x8c7d39427536094b, 0x334778a155a5ebdc, 0x0245466e9224d8d7,
    0x50fa8930b274243f, 0x761d228d6f211061, 0x3afbcd4aa8e8b916, 0x146539f9fc2c5255,
    0xebe06520a4693bc0, 0x6b7c29669dc168b7, 0x11ecad9c126665c6, 0x95793a362be77302,
    0x5eaf8a89e1aa11aa, 0x5060cce9536c23ab, 0x782fb44d3a3927e3, 0x99bd5b1edec32a35,
    0x998471dc334c4ef8, 0xb7bbf0fbce88154f, 0xdbb33672d9249417, 0x6484985acac90839,
    0x3b6fddca8fd114bb, 0x7e5132de19ba6f76, 0xb508e28e425f85c3, 0xc29838d7e4d20ef6,
    0x689c3c20edfd4ce7, 0x0a326d1b6ea8014d, 0x55e2275a2066852b, 0x8cd105a8cde8c69a,
    0xf2ccbe0887940ec2, 0x4787a86ebca4c7ff, 0x6361906217db3274, 0x2a4cafdce5e30815,
    0x6213277003fc2f43, 0x3707904f98ad25bf, 0x33dcf7850759a8ae, 0x25de30871b5f6a72,
    0xfda7688063c88c04, 0x8c2d7cda67d22662, 0x0a4da1e4c57ea3c6, 0xd812ce9c2f092a6b,
    0x16b0160559ec1672, 0x179f06d880d30896, 0xb851ebd83747ea36, 0xcf1989f4cf3bda86,
    0xb0d875c399920e3e, 0xc7e4e7ebee3f657b, 0x420378e26df6ae9e, 0x25fc610c61933dcd,
    0x4f7a9bf01aba7b2a, 0xdffb2dfd895253f5, 0x8f211c2adf125a37, 0x6f789b6008e94b65,
    0xcbbcd5fd812fffb9, 0x4e214178fd0fd1a5, 0x4b707003eb1abc23, 0x24aab479f0a826fc,
    0x1fa9f9ec34b7f1fa, 0x0d37b4039ccd1b98, 0x9e3afe6987fc420b, 0xa8270d40c38a15bb,
    0x3acb288966f34624, 0x07c36301f32fb246, 0x4179477875bd37d1, 0x97c50f4fd2ec6b05,
    0xc939ad215874c6f6, 0x9791852f12286eb9, 0x1aaba146eb563e02, 0xc9da33632520a1de,
    0x54f3cc674c07579c, 0xec820d30b216b8c8, 0x6b86de79ec194dfe, 0x3e744dc37283a672,
    0x6c8d2298758b732a, 0x7834ffaa112b2083, 0x167cf181d1712237, 0x0b417839375e8362,
    0x4e8920efa448a988, 0x26debb10668b7251, 0xd770c8796ade5a13, 0x36f4450d8c6c4485,
    0xd8f913880d5dad3a, 0x5e0931ec862567ac, 0xaefad853a09de8b4, 0x6f50c49c042c5c73,
    0x8ca5871b1cdee55d, 0xae29191b0f977aad, 0x7de341ff65ac7e75, 0xdacd4dd8eb3d5952,
    0x1b84d3fd369acc9d, 0xa297c8edef7994ad, 0xf831a4f301409f2a, 0x665340911854b6fa,
    0xce7e868d3ebd2c40, 0xab6d5eb49772f4e8, 0xf7ea27dd39603597, 0xdb6512a9a3812e75,
    0xe2706ce317c09712, 0x92b782d66ccf2ade, 0xde6b0ffa92a97321, 0x6c963709c35c7adc,
    0xb53b945cb90fd599, 0x8002e6f2cf57debc, 0x3605b1336a74c2bf, 0x152c77a565ea57ed,
    0xab9cb07d8dcf2ab7, 0xdd1d8fd993d71e1e, 0x9e27d56e473c0fd5, 0x7bf45e65831020b6,
    0xafa8d16de6462bd5, 0x2e133947a1c219fe, 0x5cd1912a3ca060c3, 0x6c8d81441826d06f,
    0x2cc6443c32c97ab3, 0xa4186ee0c132608c, 0x47080e94b4542a75, 0xb993eca27b293e4e,
    0x9eaa3702c61980f5, 0xaa9981a1a9441875, 0xcf3e3f0b61e01975, 0x34a4e45ea0048ebe,
    0xa78b0ec5a2684b33, 0x34e2c2f86cb92366, 0x9931e86a0420d773, 0x9bb84a7fcd52ed9a,
    0xbd943343ea390933, 0x2a108e54baa21668, 0x9db8dc484fde05a9, 0x85bc334f2e09372c,
    0x6b3b85be64dd86e1, 0xc01d469fb66ebc39, 0xf214df3c7f75c636, 0xfd2936ed21b7bcb0,
    0x24e4c8cad1052a4c, 0xf5063e1d26be3200, 0x7f15544e9acd1dbd, 0xcf2ab4f03f39c0d1,
    0x6dfb816db64f4d18, 0x0990aedefad773d6, 0x255605de6f0e55d7, 0xc31c2ef33d0445b4,
    0xa9c1e2b419f34d4e, 0xfe6f41513627aa5c, 0x245e47dc86292931, 0x80f4739769192adb,
    0xffa5e7e919cbe69b, 0xd6a298aa1ca3ef4e, 0x00ed03ab0189dc86, 0x8d02fcc4708b4e31,
    0x126318be68156c69, 0xa40a4ed3b23b9b8d, 0xf0919bfb84f7b5ae, 0xdb8cf3b5cd2b947e,
    0x70c90aafc8f06538, 0x3796544de31e31af, 0xed9f640d6887c6b1, 0x64857b87cf2eb6d9,
    0xf9daeaef8dcfc3df, 0x16b345e5eee69da2, 0xaee045f859b34657, 0xa5800eac2af5e68e,
    0xbd5fb5df99a7a256, 0x4efbcf8d02f7534c, 0x77605deef56d19ca, 0xfd3adb8b9e6e6977,
    0xde81ab9e72a6f8cc, 0xa3553c1437d6a8bb, 0x103fb3ff36c296bc, 0x872ba6febc9de68a,
    0xf64bfe24929659c0, 0xf98880ae220141a1, 0x1b91c10da0efe1af, 0xda4cfd41ea04a8fb,
    0x70e4de870dc1d0a8, 0xcd73f43d5c2173d1, 0x511ffe9a9e2045ed, 0x0832fc2b78b2b500,
    0x2df38336bf58d2c9, 0x0258f2b34e1c19c7, 0x5bcbb55526dd2ffd, 0xde9a6bb9eb69633d,
    0xe666f19c755bf920, 0xbda98d7e06210691, 0x445bb831450cc113, 0x4a6b32d8688b7027,
    0xfadebde857d8b758, 0x77ddd0f4f94a86ab, 0x8d504538fed66a8a, 0x0e8593b85d57f55a,
    0x6cfab5c072f541f2, 0x3d3470b086c083fa, 0x1f507f2fa706f4f4, 0x16a0fe008847f983,
    0x01f6f72dc581a17d, 0xc6f2aa95e8658c83, 0x756649cb536c5ced, 0xabe9c3275f252627,
    0x5fbe0a53f44320fb, 0xcf151ef957222fc6, 0x15b8128e99e8b8a5, 0x7ccd52480a57f233,
    0x586b3864be101083, 0x437cd48fd2625332, 0x6dba6ec44b987478, 0xdcc79a4e630fa302,
    0x872efac43f07c292, 0x69b0e909018f8f57, 0x6882e7c5a3c9a731, 0x00147fa6e7e31d0f,
    0x4cc3b753b1b9637b, 0xcb27c60ccc75d50d, 0x51d4647f8b4a7b01, 0x1d7630f865193241,
    0x0d1d4f5733e807cb, 0x51940e85d007a6ba, 0xdd70cb286a27e4ba, 0xcaff1a905bf98f17,
    0xdbd9b81a9b5fc9ca, 0xacbe7a8584159802, 0x775ae2d09723a481, 0xe0482f390efc1a7f,
    0x7c1c201c3ea5a014, 0x9cf35620851e5f27, 0x58882a4b70ce54d2, 0x124cec2df92c6069,
    0x5c6b388b44a4648c, 0xd79b1c0c1892f88b, 0x3609360ae3e27053, 0x6258acba6d2fa995,
    0x9376aee9370ccab3, 0xe8b75f88f27482b9, 0x1005d95ffe63f44e, 0x4fd04b794fc048b7,
    0x311e61d19d3928f8, 0x844b187eaf02188c, 0x526d59950f65af88, 0x3872f16340a94582,
    0xcfce4c8e61aaed9f, 0xc995fc5dddeaed95, 0x2c25bdc75e258c91, 0xf83c44b4c4893bda,
    0x3dde8fc53d8c86e6, 0x5838e7944410f08c, 0xa659cd65179d045d, 0xbc0f416926dbdb2b,
    0x2597a41b32ed3aba, 0xf0f861fac1a279b6, 0x316c2667986c9b14, 0xf58c279e1b3c3d12,
    0xb79b0884c90f99bd, 0xefbca87a2f1627f0, 0xb5900498868e237b, 0x09bd4a22173c19eb,
    0xe6ed36abeddd85b2, 0x7aa52bfb2bbd0381, 0xc923972f82b2042e, 0x800c09f22f350041,
    0x219d5fdb5c20f502, 0x78ce4e4544b8a27a, 0x5a6d0fc5a84a4d77, 0x5863fde86a756472,
    0x3a19d682980ba6dd, 0xb8969c452fb2f959, 0x9e3490f7106984b5, 0x9d52bccfa618a257,
    0x083aafe52410120b, 0xde534d3d8589b62f, 0x38442eb6b41b43fe, 0x4f114dff5b7f4393,
    0xc1f97d69cc21232c, 0x205ca78e27bd0a47, 0x4c78a3c4d153c489, 0x42eae6935dd8d7cd,
    0xf05b9236177db4cc, 0x05ce7cb789694cf1, 0x218e911e14619a6e, 0x6c68b2dc302ebdc5,
    0x5e814ae8c1188300, 0xc5522503b1365035, 0x463ba422bcdd118f, 0x1ab6fa169ff13168,
    0xce6fb7b5b7c6d47e, 0x969c50b61ad72669, 0xf54e6850a3363cb8, 0x7e245c7ded35a241,
    0xc21cd3c76084bfd3, 0x00d9a0a8700ead3c, 0xfaeae8ddfd2866de, 0x04a717c04fcbd7e9,
    0xfef0e92dbfd887d0, 0x16da79292f044944, 0x2be84ae0f8a6fff1, 0xd8c7550144957782,
    0x105123133d95ec0d, 0xb57ea92f47fc0303, 0x81c4ca5726fe8da0, 0xf120c3293f130fed,
    0x0865b7e9c897ccf2, 0x0470ac8678705812, 0x796f833eae305ceb, 0x3a59ecbc5f06e790,
    0xa0500b4e87fc73a3, 0x03005e2f2b18e52d, 0xd852a2b4708c576f, 0x735279abd36f9428,
    0x4f34f2c6ac208168, 0x67d3624454989526, 0x18225b171247fe68, 0x8f441d4dac7c0359,
    0x682cab2d3a02fce9, 0xa801b9b96985b3b9, 0xbd2b53594f9176be, 0xba3250a922f008d4,
    0x466e977348609368, 0x85f7bb7d329b87b0, 0x20fcf6ae233259de, 0xd5f3d0eb1de79c81,
    0x31d63907624efcbb, 0x3017dbde8c829456, 0x0eaf173913e789b7, 0x652b5437631a4eab,
    0xc274416836c73427, 0x5863a939ccffa884, 0xc433d7e01013a0d9, 0xf31a34b019cf4ffd,
    0x38109a581c029dfd, 0x6fcc68674f2cbe8e, 0x40320478eb387a93, 0x3a06d1c83ce31ba9,
    0x2092d16e60de2d52, 0x829d8f0f7ec2e89d, 0x0bb2bada83ce0b3f, 0xe2a4b8bfcc3f9277,
    0xbcc4f9db9d60810f, 0x392c8feae2198905, 0x17897b55fde26f0d, 0xf87be3d862f48511,
    0xd2ec3a3733805acb, 0x3e7e14ac9eeb7432, 0x2f76f0d2b70e3860, 0xd59a9bec3f01027a,
    0x92c9caa361a10ed0, 0x4ef66e2252ee4bd9, 0x5a6c07d7db955c38, 0x23129a9d2e43a328,
    0x71e1b5923bd972cf, 0x94a34e7df08c4353, 0x76f56b65a4d68976, 0xce66067f25350c53,
    0x540d7110af88ae27, 0x00e606d183ed77ec, 0x43e4c2486b9ee0a9, 0x58114e57ccd5cb76,
    0x4aa46ca4eacd7b47, 0x3f3bffb1310fd7b5, 0x9158816cd4547e8b, 0xc4d46ea0d5e93696,
    0xa81a3e7200e6a17c, 0xb16fc1c7a52902a0, 0x00de6b43ee4dda1f, 0xf9b11beaac4fd1e5,
    0xf31fa94fe63f529f, 0x49037fe228eb5b20, 0x800b59310f491612, 0x3693393b4b9f2107,
    0x797be1f972e1904c, 0xe5eab0a169d2af3d, 0xc505339cce0dc805, 0x180e593ce14eedcb,
};
// clang-format on

} // namespace


// Zobrist keys

void initHashCodeTables()
{
    const u64* number = hashCodeRandomNumber;
    for (int code = PAWN; code < NOFPIECECODES; ++code)
        for (u64& key : hashCodePiece[code]) key = *number++;
    for (u64& key : hashCodeCastling) key = *number++;
    for (u64& key : hashCodeEnpassant) key = *number++;
    hashCodeBlackToMove = *number;

    createHashTable(engine.hashSizeMB);
}

u64 calcHashKey(u8 ply, const positionStruct* position)
{
    // One number for each fact of the position, combined by XOR: makeMove can add and remove a fact
    // without knowing the others.
    u64 key = 0;
    for (int code = PAWN; code < NOFPIECECODES; ++code)
        for (u64 pieces = position->pieceBB[code]; pieces;)
            key ^= hashCodePiece[code][takeLowest(pieces)];

    const plyStruct& here = position->plies[ply];
    key ^= hashCodeCastling[here.castlingRights];
    if (here.enPassantSquare) key ^= hashCodeEnpassant[fileOf(here.enPassantSquare)];
    if (position->sideToMove == BLACK) key ^= hashCodeBlackToMove;
    return key;
}

u64 calcHashKeyPawn(u8, const positionStruct* position)
{
    // The kings are in it because the king shield is cached with the pawns.
    u64 key = 0;
    for (const int code : {PAWN + WHITE, PAWN + BLACK, KING + WHITE, KING + BLACK})
        for (u64 pieces = position->pieceBB[code]; pieces;)
            key ^= hashCodePiece[code][takeLowest(pieces)];
    return key;
}


// Memory

u64 controlGroupLimit(const std::string& root)
{
    u64 least = std::numeric_limits<u64>::max();
    const auto readLimit = [&least](const std::string& filename)
    {
        u64 limit = 0;
        if (std::ifstream(filename) >> limit) least = std::min(least, limit);
    };

    // Lines are "number:controllers:path". Version 2 has no controllers. The limits of all groups
    // above the process's own apply too, so the walk cuts one name after another off the path.
    std::ifstream groups(root + "/proc/self/cgroup");
    for (std::string line; std::getline(groups, line);)
    {
        const size_t firstColon = line.find(':');
        const size_t secondColon = line.find(':', firstColon + 1);
        if (firstColon == std::string::npos || secondColon == std::string::npos) continue;
        const std::string controllers = line.substr(firstColon + 1, secondColon - firstColon - 1);
        const bool isVersion2 = controllers.empty();
        if (!isVersion2 && controllers.find("memory") == std::string::npos) continue;

        const std::string top = root + (isVersion2 ? "/sys/fs/cgroup" : "/sys/fs/cgroup/memory");
        const std::string file = isVersion2 ? "/memory.max" : "/memory.limit_in_bytes";
        std::string group = line.substr(secondColon + 1);
        for (size_t slash; (slash = group.find_last_of('/')) != std::string::npos;)
        {
            readLimit(std::string(top).append(group).append(file));
            group.erase(slash);
        }
        readLimit(top + file);
    }
    return least;
}

namespace
{

/// Bytes that a table may take: the machine's memory or its control group's, less an eighth for
/// everything else. A larger table could be allocated, since pages come only with their first use,
/// but the system would end the process once it had used them. How much memory is free is not
/// asked, because it changes from moment to moment.
u64 memoryForTable()
{
    u64 memory = std::numeric_limits<u64>::max();
#if defined(_WIN32)
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof(status);
    if (GlobalMemoryStatusEx(&status)) memory = status.ullTotalPhys;
#elif defined(_SC_PHYS_PAGES)
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages > 0 && pageSize > 0) memory = narrow<u64>(pages) * narrow<u64>(pageSize);
#endif
    memory = std::min(memory, controlGroupLimit(""));
    // A system of 32 bits has less room for addresses than a machine may have memory.
    memory = std::min<u64>(memory, std::numeric_limits<size_t>::max());
    return memory - memory / 8;
}

} // namespace


// Transposition table

namespace
{

constexpr u64 SMALLESTTABLE = 16384; // home lines: 1 MiB

// A key's probes go up to three lines beyond its home line. Spare lines at the end of the table are
// simpler than wrapping around.
constexpr u64 SPARELINES = PROBES - 1;

/// Home lines for a size in megabytes: the smallest power of two that is not below it, so that a
/// mask takes the place of a division.
u64 homeLines(int megabytes)
{
    u64 lines = SMALLESTTABLE;
    for (int size = 1; size < megabytes; size *= 2) lines *= 2;
    return lines;
}

/// Bytes of the block of a table with so many home lines, which must fit the memory.
size_t blockSize(u64 lines)
{
    return narrow<size_t>((lines + SPARELINES) * sizeof(hashLine));
}

/// Whether a line's two words belong together and to the key. One comparison answers both.
bool holdsKey(u64 check, u64 data, u64 key)
{
    return check == ((data & HASHDATAMASK) ^ key);
}

/// Asks the system to back the inside of an untouched block with huge pages. Probes are spread over
/// the whole table, so with small pages nearly every one of them also misses the TLB, the
/// processor's cache of page addresses. The system may refuse: only speed depends on it.
void useHugePages([[maybe_unused]] void* block, [[maybe_unused]] size_t size)
{
#ifdef __linux__
    constexpr size_t hugePage = 2 << 20;
    const size_t before = (0 - reinterpret_cast<std::uintptr_t>(block)) % hugePage;
    if (size < before + hugePage) return;
    const size_t inside = (size - before) / hugePage * hugePage;
    std::ignore = madvise(static_cast<char*>(block) + before, inside, MADV_HUGEPAGE);
#endif
}

/// The thread that touches the pages of a new table. The main thread can't do it, because a large
/// table takes seconds, and the protocol expects an answer sooner.
class pageToucher
{
  public:
    pageToucher() = default;
    pageToucher(const pageToucher&) = delete;
    pageToucher& operator=(const pageToucher&) = delete;
    ~pageToucher() { stop(); }

    /// Starts on the lines of a table; the thread must have been stopped.
    void start(hashLine* first, u64 count)
    {
        isDone = isStopped = false;
        try
        {
            thread = std::thread(&pageToucher::touch, this, first, count);
        }
        catch (const std::system_error&)
        {
            // Without a thread there is nothing to wait for.
            isDone = true;
        }
    }

    /// Waits until all pages are touched, or for a time; returns whether they are.
    bool wait(int milliseconds)
    {
        std::unique_lock<std::mutex> lock(mtx);
        if (!changed.wait_for(lock, std::chrono::milliseconds(milliseconds),
                              [this] { return isDone; }))
            return false;
        // The thread has nothing left to do, so joining it takes no time.
        lock.unlock();
        stop();
        return true;
    }

    /// Ends the thread, wherever it is. The table must not be freed under it.
    void stop()
    {
        isStopped = true;
        if (thread.joinable()) thread.join();
    }

  private:
    /// Runs in the thread. A plain read would not do: the system maps all pages that are only read
    /// to one page of zeros. The atomic operation can't lose what a search stores meanwhile.
    void touch(hashLine* first, u64 count)
    {
        constexpr u64 linesPerPage = 4096 / sizeof(hashLine);
        for (u64 line = 0; line < count && !isStopped; line += linesPerPage)
            __atomic_fetch_or(&first[line].check, 0, __ATOMIC_RELAXED);
        const std::lock_guard<std::mutex> lock(mtx);
        isDone = true;
        changed.notify_one();
    }

    std::thread thread;
    relaxed<bool> isStopped = false;
    std::mutex mtx; // guards isDone
    std::condition_variable changed;
    bool isDone = true;
};

pageToucher theToucher;

} // namespace

void createHashTable(int megabytes)
{
    const u64 wanted = homeLines(megabytes);
    const u64 mostLines = memoryForTable() / sizeof(hashLine);
    u64 lines = wanted;
    while (lines > mostLines && lines > SMALLESTTABLE) lines /= 2;

    // The old table is freed first, because there may not be room for both. Memory from the system
    // is zero already, which is an empty table. If the size can't be had, half of it is tried.
    destroyHashTable();
    void* block = nullptr;
    for (;; lines /= 2)
    {
        block = std::calloc(blockSize(lines), 1);
        if (block) break;
        if (lines == SMALLESTTABLE) throw std::bad_alloc();
    }
    if (lines != wanted)
        writeLine("info string a hash table of " + std::to_string(wanted / SMALLESTTABLE) +
                  " MB can't be allocated, using " + std::to_string(lines / SMALLESTTABLE) + " MB");

    hashTable = static_cast<hashLine*>(block);
    hashKeyMask = lines - 1;
    useHugePages(block, blockSize(lines));
    hashHartBeat = 0;
    hashCountUse = 0;
}

void warmHashTable()
{
    theToucher.stop();
    theToucher.start(hashTable, hashKeyMask + 1 + SPARELINES);
}

bool waitForWarmHashTable(int milliseconds)
{
    return theToucher.wait(milliseconds);
}

void clearHashTable()
{
    // An empty line has a check word of 0.
    theToucher.stop();
    std::memset(hashTable, 0, blockSize(hashKeyMask + 1));
    hashHartBeat = 0;
    hashCountUse = 0;
}

void destroyHashTable()
{
    theToucher.stop();
    std::free(hashTable);
    hashTable = nullptr;
}

void putHashTableEntry(u64 key, moveStruct move, i16 score, i8 depth, u8 bound, u8 ply)
{
    assert(hashTable);
    assert(depth >= 0);
    assert(bound >= boundUpper && bound <= boundExact);
    assert(ply < NOFPLIES);
    assert(hashAgeCounter < 64);
    if (score >= SCOREMATELIMIT)
        score = wrap16(score + ply);
    else if (score <= -SCOREMATELIMIT)
        score = wrap16(score - ply);

    // The walk stops at an empty entry, even if a later line holds this key. Without one, the entry
    // that is least worth keeping is replaced. Depth counts, because a deep result took longer to
    // find. Each search since the entry was last used costs it four plies of depth, since an old
    // position is less likely to be reached again. An exact bound is worth one ply more.
    hashLine* const home = &hashTable[key & hashKeyMask];
    hashLine* target = home;
    int smallestKeep = 0;
    for (hashLine* line = home; line < home + PROBES; ++line)
    {
        const u64 check = peek(line->check);
        const u64 data = peek(line->data);
        if (check == 0 || holdsKey(check, data, key))
        {
            target = line;
            break;
        }
        const int keep = hashDepth(data) + (hashBound(data) == boundExact) -
                         4 * ((hashAgeCounter - hashAge(data)) & 63);
        if (line == home || keep < smallestKeep)
        {
            smallestKeep = keep;
            target = line;
        }
    }

    const u64 data = moveWord(move) | u64{bitCast<u16>(score)} << 32 |
                     u64{bitCast<u8>(depth)} << 48 | u64{bound} << 56 | u64{hashAgeCounter} << 58;
    // The two stores may take effect in any order: an entry of which only one word is new fails its
    // check.
    publish(target->check, key ^ (data & HASHDATAMASK));
    publish(target->data, data);
}

u64 getHashTableEntry(u64 key)
{
    assert(hashTable);
    hashLine* const home = &hashTable[key & hashKeyMask];
    // Most keys are not in the table, and then each line is read.
#pragma GCC unroll 4
    for (hashLine* line = home; line < home + PROBES; ++line)
    {
        const u64 data = peek(line->data);
        if (!holdsKey(peek(line->check), data, key)) continue;

        // An entry that was found is worth keeping, so its age is renewed. This writes the byte of
        // bound and age alone, so that a store by another thread keeps its other bytes. If its
        // bound is another one, the entry fails its check. A line whose age is right is not
        // written, so the copies of it in other cores' caches stay valid.
        if (hashAge(data) != hashAgeCounter)
        {
            u8& boundAndAge = reinterpret_cast<u8*>(&line->data)[7];
            publish(boundAndAge, narrow<u8>(hashBound(data) | narrow<u8>(hashAgeCounter << 2)));
        }
        return data;
    }
    return 0;
}
