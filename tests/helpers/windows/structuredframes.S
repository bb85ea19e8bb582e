# See structuredframes.h.

.macro  function name
        .globl  \name
        .def    \name
        .scl    2
        .type   32
        .endef
        .seh_proc \name
\name:
.endm

# A call of rcx(rdx) from a frame of its own, between two labels.
.macro  callbetween begin, end
        subq    $40, %rsp
        .seh_stackalloc 40
        .seh_endprologue
\begin:
        movq    %rcx, %rax
        movq    %rdx, %rcx
        call    *%rax
        nop
\end:
        xorl    %eax, %eax
        addq    $40, %rsp
        ret
.endm

.macro  caught label
\label:
        movl    $1, %eax
        addq    $40, %rsp
        ret
.endm

        .text

        function guardedCall
        callbetween .Lguarded_begin, .Lguarded_end
        caught  .Lguarded_caught
        .seh_handler __C_specific_handler, @except
        .seh_handlerdata
        .long   1                       # one scope
        .rva    .Lguarded_begin, .Lguarded_end
        .long   1                       # no filter: takes everything
        .rva    .Lguarded_caught
        .text
        .seh_endproc

        function filteredCall
        callbetween .Lfiltered_begin, .Lfiltered_end
        caught  .Lfiltered_caught
        .seh_handler __C_specific_handler, @except
        .seh_handlerdata
        .long   1
        .rva    .Lfiltered_begin, .Lfiltered_end, takeEverything, .Lfiltered_caught
        .text
        .seh_endproc

        function takeEverything
        .seh_endprologue
        movl    $1, %eax                # EXCEPTION_EXECUTE_HANDLER
        ret
        .seh_endproc

        function decliningCall
        callbetween .Ldeclining_begin, .Ldeclining_end
        caught  .Ldeclining_caught
        .seh_handler __C_specific_handler, @except
        .seh_handlerdata
        .long   1
        .rva    .Ldeclining_begin, .Ldeclining_end, .Ldecline_everything, .Ldeclining_caught
        .text
        .seh_endproc

.Ldecline_everything:
        xorl    %eax, %eax              # EXCEPTION_CONTINUE_SEARCH
        ret

        function finallyCall
        callbetween .Lfinally_begin, .Lfinally_end
        .seh_handler __C_specific_handler, @except, @unwind
        .seh_handlerdata
        .long   1
        .rva    .Lfinally_begin, .Lfinally_end, .Lfinally_block
        .long   0                       # no target: a __finally block
        .text
        .seh_endproc
.Lfinally_block:
        ret

        function readLikeEpilogue
        pushq   %rbx
        .seh_pushreg %rbx
        subq    $32, %rsp
        .seh_stackalloc 32
        .seh_endprologue
        leaq    0x3d(%rcx), %rbx
        .globl  readLikeEpiloguePlace
readLikeEpiloguePlace:
        .byte   0x8b, 0x5b, 0xc3        # movl -0x3d(%rbx), %ebx; from the second byte: popq %rbx; ret
        addq    $32, %rsp
        popq    %rbx
        ret
        .seh_endproc
