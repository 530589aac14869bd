; kbsh: --run
; Exceptions: caught, cleaned up after, and passed on.
(deffunction careful (?a ?b)
  (try
    (printout t ?a "/" ?b " = ")
    (printout t (/ ?a ?b) crlf)
   finally
    (printout t "done with " ?a crlf)
   catch
    (printout t "failed: " ?__ERROR crlf)
    0.0))

(deffunction rethrow (?message)
  (try (throw ?message)
   catch (throw (str-cat "again " ?__ERROR))))

(careful 6 3)
(careful 1 0)
(try (rethrow "boom") catch (printout t ?__ERROR crlf))

(defrule divide
  (number ?n)
  =>
  (try (printout t "12/" ?n " is " (div 12 ?n) crlf)
   catch (printout t "12/" ?n " is not a number" crlf)))
(deffacts numbers (number 0) (number 5))
