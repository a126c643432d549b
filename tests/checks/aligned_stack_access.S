# What scripts/check-stack must find, and what it must let pass.
        .text
by_stack_pointer:
        vmovdqa %ymm0, 32(%rsp)
        ret
by_frame_pointer:
        lea     128(%rsp), %rbp
        vmovaps -32(%rbp), %ymm1
        ret
by_copied_address:
        lea     64(%rsp), %rax
        mov     %rax, %rcx
        vmovapd %ymm2, (%rcx,%rdx,8)
        ret
unaligned:
        vmovdqu %ymm3, 32(%rsp)
        vmovdqa %xmm3, 32(%rsp)
        ret
elsewhere:
        lea     64(%rsp), %rax
        mov     (%rcx), %rax
        vmovdqa %ymm4, (%rax)
        ret
aligned_by_itself:
        and     $-32, %rsp
        vmovdqa %ymm5, (%rsp)
        ret
