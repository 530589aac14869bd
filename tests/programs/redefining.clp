; A template is written anew: facts, fact sets and rules are read again from their texts and keep every digit.
(deftemplate probe (slot value))
(deffacts probes (probe (value 0.000001)))
(defrule tiny
  (probe (value ?v&~nil&:(< ?v 0.00001)))
  =>
  (printout t "tiny: " (* ?v 1000000) crlf))
(assert (probe (value 0.123456789)))
(deftemplate probe (slot value) (slot unit (default none)))
(printout t (* 1e9 (get-slot-value 2 value)) crlf)
(reset)
(run)
