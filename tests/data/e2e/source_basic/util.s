	.text
	.file	"util.c"
	.globl	compute
	.type	compute,@function
compute:
	{
		allocframe(#40)
	}
	{
		r2 = #64
	}
	{
		r29 = sub(r29,r2)
	}
	{
		call helper
	}
	{
		call fact
	}
	{
		dealloc_return
	}
.Lfunc_end0:
	.size	compute, .Lfunc_end0-compute

	.type	helper,@function
helper:
	{
		allocframe(#0)
	}
	{
		dealloc_return
	}
.Lfunc_end1:
	.size	helper, .Lfunc_end1-helper

	.globl	fact
	.type	fact,@function
fact:
	{
		allocframe(#8)
	}
	{
		call fact
	}
	{
		dealloc_return
	}
.Lfunc_end2:
	.size	fact, .Lfunc_end2-fact

	.globl	tail_target
	.type	tail_target,@function
tail_target:
	{
		r29 = add(r29,r3)
	}
	{
		call on_event
	}
	{
		jumpr r31
	}
.Lfunc_end3:
	.size	tail_target, .Lfunc_end3-tail_target
