; kbsh: --run
; Absent facts: a task can be done once it needs nothing that is not done.
(deffacts start (task a) (task b) (task c) (needs b a) (needs c a) (needs c b))
(defrule do-task
  ?t <- (task ?name)
  (not (needs ?name ?))
  =>
  (printout t "doing " ?name crlf)
  (retract ?t)
  (assert (done ?name)))
(defrule release
  ?n <- (needs ?name ?other)
  (done ?other)
  =>
  (retract ?n))
(defrule all-done
  (not (task ?))
  =>
  (printout t "all done" crlf))
