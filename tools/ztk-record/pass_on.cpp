#include "pass_on.h"

// All registers that may hold arguments are kept over the look at them; the stack is as the caller left it.
// Trace lines (level 0), of which every allocation writes two, are not looked at.
#if defined(__x86_64__)
#define UNLESS_TRACE(real) \
    "  test %edi, %edi\n  jne 1f\n  mov " real "(%rip), %r11\n  test %r11, %r11\n  je 1f\n  jmp *%r11\n1:\n"
#define PASS_ON(name, look, shortcut)                                                            \
    asm(".text\n.globl " name "\n.type " name ", @function\n" name                               \
        ":\n"                                                                                    \
        "  .cfi_startproc\n  endbr64\n" shortcut                                                 \
        "  push %rbp\n  .cfi_def_cfa_offset 16\n  .cfi_offset %rbp, -16\n"                       \
        "  mov %rsp, %rbp\n  .cfi_def_cfa_register %rbp\n  sub $192, %rsp\n"                     \
        "  mov %rdi, 0(%rsp)\n  mov %rsi, 8(%rsp)\n  mov %rdx, 16(%rsp)\n  mov %rcx, 24(%rsp)\n" \
        "  mov %r8, 32(%rsp)\n  mov %r9, 40(%rsp)\n  mov %rax, 48(%rsp)\n"                       \
        "  movaps %xmm0, 64(%rsp)\n  movaps %xmm1, 80(%rsp)\n  movaps %xmm2, 96(%rsp)\n"         \
        "  movaps %xmm3, 112(%rsp)\n  movaps %xmm4, 128(%rsp)\n  movaps %xmm5, 144(%rsp)\n"      \
        "  movaps %xmm6, 160(%rsp)\n  movaps %xmm7, 176(%rsp)\n"                                 \
        "  call " look                                                                           \
        "\n  mov %rax, %r11\n"                                                                   \
        "  mov 0(%rsp), %rdi\n  mov 8(%rsp), %rsi\n  mov 16(%rsp), %rdx\n  mov 24(%rsp), %rcx\n" \
        "  mov 32(%rsp), %r8\n  mov 40(%rsp), %r9\n  mov 48(%rsp), %rax\n"                       \
        "  movaps 64(%rsp), %xmm0\n  movaps 80(%rsp), %xmm1\n  movaps 96(%rsp), %xmm2\n"         \
        "  movaps 112(%rsp), %xmm3\n  movaps 128(%rsp), %xmm4\n  movaps 144(%rsp), %xmm5\n"      \
        "  movaps 160(%rsp), %xmm6\n  movaps 176(%rsp), %xmm7\n"                                 \
        "  leave\n  .cfi_def_cfa %rsp, 8\n  jmp *%r11\n"                                         \
        "  .cfi_endproc\n.size " name ", .-" name "\n")
#elif defined(__aarch64__)
#define UNLESS_TRACE(real) \
    "  cbnz w0, 1f\n  adrp x16, " real "\n  ldr x16, [x16, #:lo12:" real "]\n  cbz x16, 1f\n  br x16\n1:\n"
#define PASS_ON(name, look, shortcut)                                                   \
    asm(".text\n.align 2\n.globl " name "\n.type " name ", %function\n" name            \
        ":\n"                                                                           \
        "  .cfi_startproc\n" shortcut                                                   \
        "  stp x29, x30, [sp, #-224]!\n  .cfi_def_cfa_offset 224\n"                     \
        "  .cfi_offset 29, -224\n  .cfi_offset 30, -216\n  mov x29, sp\n"               \
        "  stp x0, x1, [sp, #16]\n  stp x2, x3, [sp, #32]\n  stp x4, x5, [sp, #48]\n"   \
        "  stp x6, x7, [sp, #64]\n  str x8, [sp, #80]\n"                                \
        "  stp q0, q1, [sp, #96]\n  stp q2, q3, [sp, #128]\n  stp q4, q5, [sp, #160]\n" \
        "  stp q6, q7, [sp, #192]\n"                                                    \
        "  bl " look                                                                    \
        "\n  mov x16, x0\n"                                                             \
        "  ldp x0, x1, [sp, #16]\n  ldp x2, x3, [sp, #32]\n  ldp x4, x5, [sp, #48]\n"   \
        "  ldp x6, x7, [sp, #64]\n  ldr x8, [sp, #80]\n"                                \
        "  ldp q0, q1, [sp, #96]\n  ldp q2, q3, [sp, #128]\n  ldp q4, q5, [sp, #160]\n" \
        "  ldp q6, q7, [sp, #192]\n"                                                    \
        "  ldp x29, x30, [sp], #224\n  .cfi_def_cfa_offset 0\n  br x16\n"               \
        "  .cfi_endproc\n.size " name ", .-" name "\n")
#else
#error "ztk-record: no way to pass arguments on has been written for this processor"
#endif

PASS_ON("dlsym", "ZtkRecordDlsym", "");
PASS_ON("ZTK_LOG_WriteLog", "ZtkRecordLogLine", UNLESS_TRACE("g_pZtkRecordRealLog"));
