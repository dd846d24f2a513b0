	.text
	.file	"main.c"
	.globl	main                            // -- Begin function main
	.p2align	4
	.type	main,@function
main:                                   // @main
// %bb.0:
	{
		allocframe(#16)
	}
	{
		call helper
	}
	{
		call compute
	}
	{
		r0 = ##on_event
	}
	{
		call ext_func
	}
	{
		dealloc_return
	}
.Lfunc_end0:
	.size	main, .Lfunc_end0-main
                                        // -- End function
	.p2align	4
	.type	helper,@function
helper:                                 // @helper
	{
		allocframe(#8)
	}
	{
		r29 = add(r29,#-32)
	}
	{
		jump tail_target
	}
.Lfunc_end1:
	.size	helper, .Lfunc_end1-helper

	.globl	on_event
	.type	on_event,@function
on_event:
	{
		jumpr r31
	}
.Lfunc_end2:
	.size	on_event, .Lfunc_end2-on_event
